#include "compression.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include <msacm.h>

#include "shared/failure.h"
#include "shared/text.h"

namespace quillet::client {
namespace {

struct NamedTag {
  const char* option;
  const char* name;
  WORD tag;
};

constexpr NamedTag namedTags[] = {
    {"ima-adpcm", "IMA ADPCM", WAVE_FORMAT_IMA_ADPCM},
    {"ms-adpcm", "MS ADPCM", WAVE_FORMAT_ADPCM},
    {"alaw", "A-law", WAVE_FORMAT_ALAW},
    {"ulaw", "mu-law", WAVE_FORMAT_MULAW},
    {"gsm", "GSM 6.10", WAVE_FORMAT_GSM610},
    {"mp3", "MP3", WAVE_FORMAT_MPEGLAYER3},
};

WORD formatTag(const std::string& name) {
  const auto* const named = std::ranges::find(namedTags, name, &NamedTag::option);
  if (named != std::end(namedTags)) {
    return named->tag;
  }
  WORD tag = 0;
  const char* const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data(), end, tag);
  if (error != std::errc() || stop != end) {
    throw wrongUsage("'" + name + "' is no audio format");
  }
  return tag;
}

}  // namespace

std::string tagName(WORD tag) {
  const auto* const named = std::ranges::find(namedTags, tag, &NamedTag::tag);
  if (named != std::end(namedTags)) {
    return named->name;
  }
  char number[32];
  std::snprintf(number, sizeof number, "format tag 0x%04X", tag);
  return number;
}

Compression Compression::ofVideo(const std::string& fourcc) {
  if (fourcc.empty() || fourcc.size() > sizeof(FOURCC)) {
    throw wrongUsage("'" + fourcc + "' is no FOURCC");
  }
  Compression compression(fourcc);
  compression.chosenOptions.fccType = streamtypeVIDEO;
  char letters[] = {' ', ' ', ' ', ' '};
  std::ranges::copy(fourcc, letters);
  std::memcpy(&compression.chosenOptions.fccHandler, letters, sizeof letters);
  compression.chosenOptions.dwQuality = static_cast<DWORD>(ICQUALITY_DEFAULT);
  return compression;
}

Compression Compression::ofAudio(const std::string& name, const WAVEFORMATEX& source) {
  DWORD size = 0;
  acmMetrics(nullptr, ACM_METRIC_MAX_SIZE_FORMAT, &size);
  Compression compression(name);
  compression.format.resize(std::max<std::size_t>(size, sizeof(WAVEFORMATEX)));
  auto& target = *reinterpret_cast<WAVEFORMATEX*>(compression.format.data());
  target.wFormatTag = formatTag(name);
  target.nChannels = source.nChannels;
  target.nSamplesPerSec = source.nSamplesPerSec;
  constexpr DWORD kept =
      ACM_FORMATSUGGESTF_WFORMATTAG | ACM_FORMATSUGGESTF_NCHANNELS | ACM_FORMATSUGGESTF_NSAMPLESPERSEC;
  const MMRESULT result = acmFormatSuggest(nullptr, const_cast<WAVEFORMATEX*>(&source), &target,
                                           static_cast<DWORD>(compression.format.size()), kept);
  if (result != 0) {
    throw Failure("the system converts no " + std::to_string(source.nChannels) + " channels of " +
                  std::to_string(source.nSamplesPerSec) + " samples/s to '" + name + "' (error " +
                  std::to_string(result) + ")");
  }
  compression.chosenOptions.fccType = streamtypeAUDIO;
  return compression;
}

AVICOMPRESSOPTIONS& Compression::options() {
  chosenOptions.lpFormat = format.empty() ? nullptr : format.data();
  chosenOptions.cbFormat = static_cast<DWORD>(format.size());
  return chosenOptions;
}

}  // namespace quillet::client
