// A client in C: prints what classes.cpp does; reads sound, writes what it has read, and is told what it does wrong.

#include <stddef.h>

#include <quillet/quillet_c.h>

#if __STDC_HOSTED__
#include <stdio.h>
#else
int printf(const char* format, ...);  // For compilers that have no headers of Windows' here.
#endif

static unsigned sum_of(const uint8_t* data, int64_t bytes) {
  unsigned sum = 0;
  for (int64_t i = 0; i < bytes; ++i) {
    sum = sum * 31 + data[i];
  }
  return sum;
}

static void print_error(const char* what, const void* handle) {
  printf("%s: %d, %s\n", what, (int)quillet_error(handle), quillet_error_text(handle));
}

static quillet_stream* open(const char* name, int32_t kind, int32_t backend) {
  return quillet_stream_open(name, kind, backend, 0, NULL, NULL);
}

// Copies a file of uncompressed frames.
static void copy(const char* name, const char* target) {
  quillet_stream* const video = open(name, QUILLET_VIDEO, QUILLET_VIDEO_FOR_WINDOWS);
  quillet_video_format format;
  quillet_stream_video_format(video, &format);
  quillet_file* const file = quillet_file_open(target, QUILLET_VIDEO_FOR_WINDOWS, &format, 0, NULL, 0);
  int32_t is_written = quillet_file_start(file);
  for (int64_t frame = 0; frame < quillet_stream_length(video) && is_written; ++frame) {
    is_written = quillet_file_write(file, QUILLET_VIDEO, frame, quillet_video_frame(video, &frame), 1, -1, 1);
  }
  printf("copied: %d\n", (int)(is_written && quillet_file_finish(file)));
  quillet_file_close(file);
  quillet_stream_close(video);
}

int main(int count, char** arguments) {
  (void)count;
  quillet_stream* const video = open(arguments[1], QUILLET_VIDEO, QUILLET_AUTOMATIC);
  quillet_video_format format;
  int64_t frame = 42;
  const int32_t has_format = quillet_stream_video_format(video, &format);
  const uint8_t* const pixels = has_format ? quillet_video_frame(video, &frame) : NULL;
  if (pixels == NULL) {
    printf("%s\n", quillet_error_text(video));
    return 1;
  }
  printf("frame %d: %08x\n", (int)frame, sum_of(pixels, format.frame_bytes));
  frame = 50;
  quillet_video_frame(video, &frame);
  print_error("out of range", video);
  quillet_stream_close(video);
  print_error("closed", video);
  quillet_stream* const missing = open("missing.avi", QUILLET_AUDIO, QUILLET_VIDEO_FOR_WINDOWS);
  print_error("missing", missing);
  quillet_stream_close(missing);
  quillet_stream* const text = open(arguments[4], QUILLET_VIDEO, QUILLET_VIDEO_FOR_WINDOWS);
  print_error("text", text);
  quillet_stream_close(text);

  quillet_stream* const audio = open(arguments[3], QUILLET_AUDIO, QUILLET_DIRECTSHOW);
  quillet_audio_format sound;
  if (quillet_stream_audio_format(audio, &sound)) {
    printf("samples: %08x\n", sum_of(quillet_audio_samples(audio, 10000, 5000), 5000 * sound.block_bytes));
  }
  quillet_stream_close(audio);
  copy(arguments[3], "vfw-functions.avi");
  return 0;
}
