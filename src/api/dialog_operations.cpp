// The operations that run behind the progress dialog: the frame around the ordinary ones.

#include <functional>

#include <quillet/audio_source_stream.h>
#include <quillet/error_codes.h>
#include <quillet/raw_data_source_stream.h>
#include <quillet/video_source_stream.h>

#include "core/operation.h"
#include "ui/progress_dialog.h"

using quillet::OperationKind;
using quillet::ProgressDialogParameters;
using quillet::runBehindProgressDialog;

namespace {

namespace dialog_option = quillet::dialog_option;

SourceStream* openAsTold(const ProgressDialogParameters& parameters, const wchar_t* fileName, int stream,
                         QuilletNotification* sink) {
  const bool video = !parameters.audio;
  if (parameters.raw) {
    return parameters.automatic ? RawDataSourceStream::open(fileName, video, stream, sink)
                                : RawDataSourceStream::open(fileName, video, parameters.useDirectShow, stream, sink);
  }
  return parameters.automatic ? SourceStream::open(fileName, video, stream, sink)
                              : SourceStream::open(fileName, video, parameters.useDirectShow, stream, sink);
}

/// What every operation with a progress dialog does.
/// @param options, parentWindow, title the operation's own arguments.
/// @param failure the result when the stream is not open or the dialog is not shown.
/// @param operation the same operation without a dialog.
template <class Result, class Operation>
Result behindDialog(SourceStream& stream, OperationKind kind, int options, void* parentWindow, const char* title,
                    Result failure, Operation operation) {
  if (!quillet::Internals::requireOpened(stream)) {
    return failure;
  }
  if (!stream.usesDirectShow()) {
    return operation();  // Quick enough to go without.
  }
  options &= dialog_option::startHidden | dialog_option::captioned;
  if (stream.isRawData()) {
    options |= dialog_option::raw;
  } else if (dynamic_cast<AudioSourceStream*>(&stream) != nullptr) {
    options |= dialog_option::audio;
  }
  Result result = failure;
  auto reporting = [&](QuilletNotification& sink) {
    QuilletNotification* const clientsSink = stream.notify(&sink);
    result = operation();
    stream.notify(clientsSink);
  };
  const ProgressDialogParameters parameters(kind, options, static_cast<HWND>(parentWindow), title);
  if (!runBehindProgressDialog(parameters, std::ref(reporting))) {
    stream.lastError = quillet::ds_error::cannotDisplayDialog;
  }
  return result;
}

}  // namespace

SourceStream* SourceStream::open(int options, void* parentWindow, const wchar_t* fileName, int stream,
                                 const char* title) {
  const ProgressDialogParameters parameters(OperationKind::open, options, static_cast<HWND>(parentWindow), title);
  SourceStream* opened = nullptr;
  auto operation = [&](QuilletNotification& sink) {
    opened = openAsTold(parameters, fileName, stream, &sink);
    if (opened != nullptr) {
      opened->notify(nullptr);
    }
  };
  runBehindProgressDialog(parameters, std::ref(operation));
  return opened;
}

double SourceStream::StreamSampleToTime(int options, void* parentWindow, long& sample, const char* title) {
  return behindDialog(*this, OperationKind::streamSampleToTime, options, parentWindow, title, -1.0,
                      [&] { return StreamSampleToTime(sample); });
}

long SourceStream::StreamTimeToSample(int options, void* parentWindow, double& time, const char* title) {
  return behindDialog(*this, OperationKind::streamTimeToSample, options, parentWindow, title, -1L,
                      [&] { return StreamTimeToSample(time); });
}

long VideoSourceStream::findFrame(int options, void* parentWindow, long frame, const char* title) {
  return behindDialog(*this, OperationKind::findFrame, options, parentWindow, title, -1L,
                      [&] { return findFrame(frame); });
}

unsigned char* VideoSourceStream::getFrameBits(int options, void* parentWindow, long& frame, const char* title) {
  return behindDialog(*this, OperationKind::getFrameBits, options, parentWindow, title,
                      static_cast<unsigned char*>(nullptr), [&] { return getFrameBits(frame); });
}

unsigned char* AudioSourceStream::getSamples(int options, void* parentWindow, long first, long last,
                                             const char* title) {
  return behindDialog(*this, OperationKind::getSamples, options, parentWindow, title,
                      static_cast<unsigned char*>(nullptr), [&] { return getSamples(first, last); });
}

unsigned char* RawDataSourceStream::getData(int options, void* parentWindow, long& sample, long& samples, long& bytes,
                                            bool& key, const char* title) {
  return behindDialog(*this, OperationKind::getData, options, parentWindow, title, static_cast<unsigned char*>(nullptr),
                      [&] { return getData(sample, samples, bytes, key); });
}
