#include "support/avifile_handler.h"

#include <algorithm>
#include <cstring>

#include "support/avi_builder.h"

// The header declares the interfaces without ids, and its IID_ constants are import thunks.
__CRT_UUID_DECL(IAVIFile, 0x00020020, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IAVIStream, 0x00020021, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)
__CRT_UUID_DECL(IGetFrame, 0x00020023, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46)

namespace quillet::test {
namespace {

constexpr CLSID aviFileHandlerClass = {0x00020000, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// Decompresses every frame to the same picture.
class Pictures : public ComObject<IGetFrame> {
 public:
  explicit Pictures(Bytes packedDib) : packedDib(std::move(packedDib)) {}
  STDMETHODIMP_(LPVOID) GetFrame(LONG) override { return packedDib.data(); }
  STDMETHODIMP Begin(LONG, LONG, LONG) override { return S_OK; }
  STDMETHODIMP End() override { return S_OK; }
  STDMETHODIMP SetFormat(LPBITMAPINFOHEADER, LPVOID, int, int, int, int) override { return S_OK; }

 private:
  Bytes packedDib;
};

class StreamObject : public ComObject<IAVIStream> {
 public:
  StreamObject(std::shared_ptr<AviScript> script, DWORD number) : script(std::move(script)), number(number) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** object) override {
    return iid == __uuidof(IGetFrame) && !stream().packedDib.empty()
               ? makeCom<Pictures>(stream().packedDib)->QueryInterface(iid, object)
               : ComObject::QueryInterface(iid, object);
  }
  STDMETHODIMP Create(LPARAM, LPARAM) override { return AVIERR_UNSUPPORTED; }

  STDMETHODIMP Info(AVISTREAMINFOW* info, LONG size) override {
    if (!stream().hasInfo) {
      return AVIERR_ERROR;
    }
    std::memcpy(info, &stream().info, std::min<std::size_t>(size, sizeof *info));
    return S_OK;
  }

  STDMETHODIMP_(LONG) FindSample(LONG position, LONG flags) override {
    script->calls.push_back({AviScriptCall::findSample, position});
    if (!stream().canSeek || position < static_cast<LONG>(stream().info.dwStart)) {
      return -1;
    }
    const LONG step = flags & FIND_NEXT ? 1 : -1;
    for (LONG i = position; i >= 0 && i < count(); i += step) {
      if (!stream().samples[i].empty() && !(flags & FIND_KEY && stream().deltas.contains(i))) {
        return i;
      }
    }
    return -1;
  }

  STDMETHODIMP ReadFormat(LONG, void* format, LONG* size) override {
    if (stream().format.empty()) {
      return AVIERR_ERROR;
    }
    const auto whole = static_cast<LONG>(stream().format.size());
    if (format != nullptr) {
      std::memcpy(format, stream().format.data(), std::min(*size, whole));
    }
    *size = whole;
    return S_OK;
  }

  STDMETHODIMP Read(LONG start, LONG samples, void* buffer, LONG size, LONG* bytesRead, LONG* samplesRead) override {
    script->calls.push_back({AviScriptCall::read, start, samples});
    const LONG asked = samples == AVISTREAMREAD_CONVENIENT ? 1 : samples;
    const LONG wanted = buffer != nullptr ? std::min(asked, stream().samplesPerRead) : asked;
    auto* target = static_cast<BYTE*>(buffer);
    LONG bytes = 0;
    LONG done = 0;
    for (; done < wanted && start + done < count(); ++done) {
      const Bytes& sample = stream().samples[start + done];
      const auto sampleSize = static_cast<LONG>(sample.size());
      if (stream().unreadable.contains(start + done)) {
        return AVIERR_FILEREAD;
      }
      if (target != nullptr && bytes + sampleSize > size) {
        break;
      }
      target = target != nullptr ? std::ranges::copy(sample, target).out : nullptr;
      bytes += sampleSize;
    }
    if (bytesRead != nullptr) {
      *bytesRead = target != nullptr ? bytes : std::max<LONG>(bytes, stream().claimedSize);
    }
    if (samplesRead != nullptr) {
      *samplesRead = done;
    }
    return done == 0 && start < count() ? AVIERR_BUFFERTOOSMALL : S_OK;
  }

  STDMETHODIMP SetFormat(LONG, void* format, LONG size) override {
    if (script->refusedFormats.contains(stream().info.fccType)) {
      return AVIERR_BADFORMAT;
    }
    const auto* const first = static_cast<const BYTE*>(format);
    stream().format.assign(first, first + size);
    if (stream().info.fccType == streamtypeAUDIO) {
      stream().info.dwSampleSize = reinterpret_cast<const WAVEFORMAT*>(first)->nBlockAlign;
    }
    return S_OK;
  }

  /// Takes what continues the stream: a frame in a piece, or whole blocks of audio.
  STDMETHODIMP Write(LONG start, LONG samples, void* data, LONG size, DWORD flags, LONG* written,
                     LONG* writtenBytes) override {
    script->calls.push_back({AviScriptCall::write, start, samples, this->number, flags});
    const LONG sampleSize = static_cast<LONG>(stream().info.dwSampleSize);
    if (start != count() || (sampleSize > 0 && size != samples * sampleSize) || (sampleSize == 0 && samples != 1)) {
      return AVIERR_FILEWRITE;
    }
    *written = std::min(samples, script->samplesPerWrite);
    *writtenBytes = sampleSize > 0 ? *written * sampleSize : size;
    script->bytesWritten += *writtenBytes;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    for (LONG i = 0; i < *written; ++i, bytes += sampleSize) {
      stream().samples.emplace_back(bytes, bytes + (!script->keepsSamples ? 0 : sampleSize > 0 ? sampleSize : size));
    }
    stream().info.dwLength = static_cast<DWORD>(count());
    return S_OK;
  }

  STDMETHODIMP Delete(LONG, LONG) override { return AVIERR_READONLY; }
  STDMETHODIMP ReadData(DWORD, void*, LONG*) override { return AVIERR_NODATA; }
  STDMETHODIMP WriteData(DWORD, void*, LONG) override { return AVIERR_READONLY; }
  STDMETHODIMP SetInfo(AVISTREAMINFOW* info, LONG) override { return give(&stream().info, *info); }

 private:
  AviScriptStream& stream() { return script->streams[number]; }
  LONG count() { return static_cast<LONG>(stream().samples.size()); }

  std::shared_ptr<AviScript> script;
  DWORD number;
};

class FileObject : public ComObject<IAVIFile, IPersistFile> {
 public:
  explicit FileObject(std::shared_ptr<AviScript> script) : script(std::move(script)) {}

  /// Leaves the file that is written, if any, as large as what was written.
  ~FileObject() override {
    const long long size = script->bytesWritten - script->bytesLost;
    std::error_code ignored;
    size < 0 ? void(std::filesystem::remove(name, ignored)) : std::filesystem::resize_file(name, size, ignored);
  }

  STDMETHODIMP Info(AVIFILEINFOW* info, LONG) override {
    *info = {};
    info->dwStreams = static_cast<DWORD>(script->streams.size());
    return S_OK;
  }

  STDMETHODIMP GetStream(PAVISTREAM* stream, DWORD type, LONG index) override {
    for (DWORD number = 0; number < script->streams.size(); ++number) {
      const bool isOfType = type == 0 || script->streams[number].info.fccType == type;
      if (isOfType && index-- == 0) {
        *stream = makeCom<StreamObject>(script, number).Detach();
        return S_OK;
      }
    }
    return AVIERR_NODATA;
  }

  STDMETHODIMP CreateStream(PAVISTREAM* stream, AVISTREAMINFOW* info) override {
    script->streams.emplace_back().info = *info;
    script->streams.back().info.dwCaps = AVIFILECAPS_CANREAD | AVIFILECAPS_CANWRITE;
    return GetStream(stream, 0, static_cast<LONG>(script->streams.size()) - 1);
  }

  STDMETHODIMP WriteData(DWORD, void*, LONG) override { return AVIERR_READONLY; }
  STDMETHODIMP ReadData(DWORD, void*, LONG*) override { return AVIERR_NODATA; }
  STDMETHODIMP EndRecord() override { return AVIERR_READONLY; }
  STDMETHODIMP DeleteStream(DWORD, LONG) override { return AVIERR_READONLY; }

  STDMETHODIMP GetClassID(CLSID* clsid) override { return give(clsid, aviFileHandlerClass); }
  STDMETHODIMP IsDirty() override { return S_FALSE; }
  STDMETHODIMP Load(LPCOLESTR fileName, DWORD mode) override {
    if ((mode & OF_CREATE) != 0) {
      name = fileName;
      script->bytesWritten = 0;
    }
    return S_OK;
  }
  STDMETHODIMP Save(LPCOLESTR, BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP SaveCompleted(LPCOLESTR) override { return E_NOTIMPL; }
  STDMETHODIMP GetCurFile(LPOLESTR*) override { return E_NOTIMPL; }

 private:
  std::shared_ptr<AviScript> script;
  std::filesystem::path name;  // Of a file that is written.
};

/// A stream with what is the same of video and audio.
AviScriptStream streamOf(DWORD type, Bytes format, DWORD rate, DWORD scale, std::vector<Bytes> samples) {
  AviScriptStream stream = {.format = std::move(format), .samples = std::move(samples)};
  stream.info.fccType = type;
  stream.info.dwRate = rate;
  stream.info.dwScale = scale;
  stream.info.dwLength = static_cast<DWORD>(stream.samples.size());
  return stream;
}

}  // namespace

AviScriptStream aviScriptVideo(const BITMAPINFOHEADER& format, DWORD rate, DWORD scale, std::vector<Bytes> frames) {
  AviScriptStream stream = streamOf(streamtypeVIDEO, bytesOf(format), rate, scale, std::move(frames));
  stream.info.fccHandler = format.biCompression;
  stream.info.dwSuggestedBufferSize = format.biSizeImage;
  stream.info.rcFrame = {0, 0, format.biWidth, format.biHeight};
  return stream;
}

AviScriptStream aviScriptAudio(const Bytes& format, DWORD rate, DWORD scale, std::vector<Bytes> blocks) {
  const auto& wave = *reinterpret_cast<const WAVEFORMAT*>(format.data());
  AviScriptStream stream = streamOf(streamtypeAUDIO, format, rate, scale, std::move(blocks));
  stream.info.dwSampleSize = wave.nBlockAlign;
  stream.info.dwSuggestedBufferSize = wave.nAvgBytesPerSec;
  return stream;
}

int AviScript::count(AviScriptCall::Kind kind) const {
  return static_cast<int>(std::ranges::count(calls, kind, &AviScriptCall::kind));
}

AviFileHandler::AviFileHandler(std::shared_ptr<AviScript> script)
    : handler(aviFileHandlerClass, [script = std::move(script)](REFIID iid, void** object) {
        return makeCom<FileObject>(script)->QueryInterface(iid, object);
      }) {}

}  // namespace quillet::test
