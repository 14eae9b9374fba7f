#include <quillet/raw_data_source_stream.h>

#include "core/operation.h"
#include "formats/media_type.h"

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
  quillet::beginOperation(*this);
  return &mediaType;
}

long RawDataSourceStream::firstKeySample() {
  quillet::beginOperation(*this);
  return keySample;
}
