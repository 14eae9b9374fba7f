/* samples FILE FIRST COUNT: prints the values of samples of a sound; in C. */

#include <quillet/quillet_c.h>

#include <stdio.h>
#include <stdlib.h>

int main(int argc, char* argv[]) {
  if (argc != 4) {
    puts("usage: samples FILE FIRST COUNT");
    return 2;
  }
  /* The names of main() are in the ANSI code page, the library's in UTF-8: they agree in the letters of ASCII. */
  quillet_stream* const audio = quillet_stream_open(argv[1], QUILLET_AUDIO, QUILLET_AUTOMATIC, 0, NULL, NULL);
  const int64_t first = strtoll(argv[2], NULL, 10), count = strtoll(argv[3], NULL, 10);
  quillet_audio_format format;
  const int16_t* values = NULL;
  if (quillet_stream_audio_format(audio, &format) && format.bits == 16) {
    values = quillet_audio_samples(audio, first, count); /* Valid until the next call with the handle. */
  }
  if (values == NULL) {
    printf("failed: %s\n", quillet_error_text(audio)); /* Takes NULL, too. */
    quillet_stream_close(audio);
    return 1;
  }
  for (int64_t i = 0; i < count; ++i) {
    printf("%ld:", (long)(first + i));
    for (int32_t channel = 0; channel < format.channels; ++channel) {
      printf(" %d", values[i * format.channels + channel]);
    }
    puts("");
  }
  quillet_stream_close(audio);
  return 0;
}
