// A client in C: does what classes.cpp does.

#include <stddef.h>

#include <quillet/quillet_c.h>

// For compilers that have no headers of Windows' here.
int printf(const char* format, ...);

int main(int count, char** arguments) {
  (void)count;
  quillet_stream* const video = quillet_stream_open(arguments[1], QUILLET_VIDEO, QUILLET_AUTOMATIC, 0, NULL, NULL);
  quillet_video_format format;
  int64_t frame = 42;
  const int32_t has_format = quillet_stream_video_format(video, &format);
  const uint8_t* const pixels = has_format ? quillet_video_frame(video, &frame) : NULL;
  if (pixels == NULL) {
    printf("%s\n", quillet_error_text(video));
    return 1;
  }
  unsigned sum = 0;
  for (int64_t i = 0; i < format.frame_bytes; ++i) {
    sum = sum * 31 + pixels[i];
  }
  printf("frame %d: %08x\n", (int)frame, sum);
  quillet_stream_close(video);
  return 0;
}
