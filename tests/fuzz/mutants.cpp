#include "fuzz.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <random>
#include <sstream>

#include "support/avi_builder.h"

namespace quillet::test {
namespace {

Bytes joined(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// The files that all others are made from.
std::vector<Mutant> makeSeedFiles() {
  const BITMAPINFOHEADER rgb24 = rgb24Format(16, 8);
  BITMAPINFOHEADER rgb8 = rgb24;
  rgb8.biBitCount = 8;
  rgb8.biSizeImage = 16 * 8;
  rgb8.biClrUsed = 4;
  AviStream palette = videoStream(rgb8, 25, 1, noiseChunks(6, rgb8.biSizeImage));
  palette.format = joined(palette.format, noise(4 * sizeof(RGBQUAD), 5));
  const Bytes pcm = bytesOf(pcmFormat(8000, 2, 16));
  const Bytes ima = joined(bytesOf(WAVEFORMATEX{WAVE_FORMAT_IMA_ADPCM, 1, 8000, 4055, 256, 4, sizeof(WORD)}),
                           bytesOf(WORD{505}));  // Samples in a block.
  const Bytes muLaw = bytesOf(WAVEFORMATEX{WAVE_FORMAT_MULAW, 1, 8000, 8000, 1, 8, 0});
  return {
      {aviFile({videoStream(rgb24, 25, 1, noiseChunks(8, rgb24.biSizeImage)), audioStream(pcm, noiseChunks(8, 1280))}),
       ".avi", true, true, "RGB24 and PCM in AVI"},
      {aviFile({palette, audioStream(ima, noiseChunks(6, 256))}), ".avi", true, true, "palette and IMA ADPCM in AVI"},
      {readFile(mediaFile("cinepak.avi").c_str()), ".avi", true, false, "Cinepak in AVI"},
      {wavFile(pcm, noise(6000, 1)), ".wav", false, true, "PCM in WAV"},
      {wavFile(ima, noise(256 * 8, 2)), ".wav", false, true, "IMA ADPCM in WAV"},
      {wavFile(muLaw, noise(3000, 3)), ".wav", false, true, "mu-law in WAV"},
  };
}

struct Field {
  std::size_t offset, size;
  std::string name;
};

/// What can be damaged on purpose.
struct Layout {
  std::vector<std::pair<std::size_t, std::size_t>> chunks;  // From, to.
  std::map<std::string, std::vector<Field>> fields;         // By the chunk's id: few chunks are headers.
};

void lookAt(const Bytes& file, std::size_t begin, std::size_t end, Layout& layout) {
  constexpr std::size_t headerSize = 8;
  constexpr std::size_t typeSize = 4;
  while (begin + headerSize <= end) {
    const std::string id(reinterpret_cast<const char*>(&file[begin]), typeSize);
    DWORD size = 0;
    std::memcpy(&size, &file[begin + typeSize], sizeof size);
    const std::size_t data = begin + headerSize;
    const std::size_t dataEnd = std::min<std::size_t>(end, data + size);
    std::vector<Field>& fields = layout.fields[id];
    layout.chunks.push_back({begin, dataEnd});
    fields.push_back({begin, typeSize, id + " id"});
    fields.push_back({begin + typeSize, sizeof size, id + " size"});
    if (id == "RIFF" || id == "LIST") {
      fields.push_back({data, typeSize, id + " type"});
      lookAt(file, data + typeSize, dataEnd, layout);
    } else if (std::isalpha(static_cast<unsigned char>(id[0])) && id != "data" && id != "JUNK") {
      for (std::size_t offset = data; offset + sizeof(WORD) <= dataEnd; offset += sizeof(WORD)) {
        fields.push_back({offset, sizeof(WORD), id + '+' + std::to_string(offset - data)});
        if ((offset - data) % sizeof(DWORD) == 0 && offset + sizeof(DWORD) <= dataEnd) {
          fields.push_back({offset, sizeof(DWORD), id + '+' + std::to_string(offset - data)});
        }
      }
    }
    begin = dataEnd + size % 2;
  }
}

template <class List>
const auto& anyOf(const List& list, std::mt19937& random) {
  return *std::next(list.begin(), static_cast<std::ptrdiff_t>(random() % list.size()));
}

/// A value at the edge of something, or near what the field holds.
DWORD extremeNear(DWORD old, std::mt19937& random) {
  const DWORD values[] = {0,          1,          2,          3,          0x7F,       0xFF,       0x7FFF,
                          0x8000,     0xFFFF,     0x10000,    0x1000000,  0x3FFFFFFF, 0x40000000, 0x7FFFFFFE,
                          0x7FFFFFFF, 0x80000000, 0x80000001, 0xC0000000, 0xFFFFFFF7, 0xFFFFFFFE, 0xFFFFFFFF,
                          old + 1,    old - 1,    old * 2,    old / 2,    ~old + 1};
  return values[random() % std::size(values)];
}

/// Damages a mutant in one way. What it is cut to is noted only: the other ways need all of it.
void damage(Mutant& mutant, std::size_t& size, const Layout& layout, std::mt19937& random) {
  Bytes& content = mutant.content;
  std::ostringstream recipe;
  recipe << std::showbase << ", ";
  const unsigned way = random() % 10;
  if (way < 6) {
    const Field& field = anyOf(anyOf(layout.fields, random).second, random);
    DWORD value = 0;
    std::memcpy(&value, &content[field.offset], field.size);
    value = extremeNear(value, random) & (field.size == sizeof value ? 0xFFFFFFFF : 0xFFFF);
    std::memcpy(&content[field.offset], &value, field.size);
    recipe << field.name << " (" << field.size << " bytes at " << field.offset << ") = " << std::hex << value;
  } else if (way == 6) {
    const auto& [begin, end] = anyOf(layout.chunks, random);
    const std::size_t boundary = random() % 2 == 0 ? begin : end;
    size = std::min(size, boundary + random() % 12);
    recipe << "cut to " << size;
  } else if (way < 9) {
    recipe << "bits flipped:";
    for (unsigned i = 1 + random() % 8; i > 0; --i) {
      const std::size_t offset = random() % content.size();
      content[offset] ^= static_cast<std::uint8_t>(1U << random() % 8);
      recipe << ' ' << std::dec << offset << "=" << std::hex << int{content[offset]};
    }
  } else {
    const auto& [begin, end] = anyOf(layout.chunks, random);
    std::fill_n(&content[begin], end - begin, std::uint8_t{0});
    recipe << "zero from " << begin << " to " << end;
  }
  mutant.recipe += recipe.str();
}

}  // namespace

Mutant makeMutant(unsigned seed, long number) {
  std::seed_seq sequence = {seed, static_cast<unsigned>(number)};
  std::mt19937 random(sequence);
  static const std::vector<Mutant> seedFiles = makeSeedFiles();
  Mutant mutant = anyOf(seedFiles, random);
  Layout layout;
  lookAt(mutant.content, 0, mutant.content.size(), layout);
  std::size_t size = mutant.content.size();
  for (unsigned i = random() % 3 == 0 ? 2 : 1; i > 0; --i) {
    damage(mutant, size, layout, random);
  }
  mutant.content.resize(size);
  return mutant;
}

}  // namespace quillet::test
