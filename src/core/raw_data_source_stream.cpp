#include <quillet/raw_data_source_stream.h>

#include <quillet/error_codes.h>

#include "formats/media_type.h"

using quillet::common_error::success;

RawDataSourceStream::~RawDataSourceStream() {
  if (!notOpened) {
    quillet::FreeMediaType(mediaType);
  }
}

bool RawDataSourceStream::isRawData() {
  return true;
}

// Answers the address of the empty format, too, when the stream is not open.
AM_MEDIA_TYPE* RawDataSourceStream::format() {
  if (requireOpened()) {
    lastError = success;
  }
  return &mediaType;
}

long RawDataSourceStream::firstKeySample() {
  if (requireOpened()) {
    lastError = success;
  }
  return keySample;
}
