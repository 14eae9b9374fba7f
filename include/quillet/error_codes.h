#pragma once

/// @file
/// The error codes that AudioOrVideoStream::lastError can hold, with the messages that the library has for them. A code
/// other than success is fatal where nothing else is said.

namespace quillet {

/// The codes on which all backends agree.
namespace common_error {
/// Values of AudioOrVideoStream::lastError.
enum Code : int {
  success = 0,          ///< The operation did what it was asked for.
  notOpened = 1,        ///< The object's `open` or `create` failed.
  notEnoughMemory = 2,  ///< An allocation failed.
};
}  // namespace common_error

/// Codes of the DirectShow backend.
namespace ds_error {
/// Values of AudioOrVideoStream::lastError.
enum Code : int {
  success = 0,                      ///< "Success"
  notOpened = 1,                    ///< "Stream was not successfully opened"
  notEnoughMemory = 2,              ///< "Not enough memory"
  unexpectedThreadError = 3,        ///< "Unexpected error in GetExitCodeThread"
  cannotOpenSourceFile = 4,         ///< "Could not open the source file"
  dataNotFound = 5,                 ///< "Data not found"
  undeterminedSamplesNumber = 6,    ///< "Undetermined compressed samples number"
  unreadableMediaType = 7,          ///< "Unreadable media type"
  unusableAudioFormat = 8,          ///< "Unusable audio format"
  cannotRetrieveFrameRate = 9,      ///< "Could not retrieve the frame rate"
  undefinedStreamDuration = 10,     ///< "Undefined stream duration"
  improperStreamFormat = 11,        ///< "Improper stream format (audio or video)"
  sampleBeyondData = 12,            ///< "Requested sample beyond actual data in the stream" (not fatal)
  cannotEnumeratePins = 13,         ///< "Cannot enumerate pins of one of the filters in the graph"
  noKeySampleInStream = 14,         ///< "Could not find any key sample or frame in the stream"
  cannotRewind = 15,                ///< "Cannot rewind the stream"
  noMediaSeeking = 16,              ///< "Cannot get a MediaSeeking interface pointer"
  noMediaControl = 17,              ///< "Cannot get a MediaControl interface pointer"
  noMediaEvent = 18,                ///< "Cannot get a MediaEvent interface pointer"
  noSynchronizationObject = 19,     ///< "Could not create a synchronization object"
  parameterOutOfRange = 20,         ///< "Parameter out of range" (not fatal)
  cannotCreateThread = 21,          ///< "Cannot create new threads"
  cannotRunGraph = 22,              ///< "Cannot run the filter graph"
  cannotStopGraph = 23,             ///< "Cannot stop the filter graph"
  unseekableMedia = 24,             ///< "Unseekable media"
  noFrameFound = 25,                ///< "No frame found"
  getStateFailed = 26,              ///< "GetState() failed"
  noGraphBuilder = 27,              ///< "Could not create a GraphBuilder object"
  noSampleGrabber = 28,             ///< "Could not create a SampleGrabber filter"
  cannotAddFilter = 29,             ///< "Cannot add a filter to the graph"
  cannotSetMediaType = 30,          ///< "Cannot set the audio samples media type"
  cannotConnectFilters = 31,        ///< "Cannot connect two filters (no proper stream or decoder)"
  noNullRenderer = 32,              ///< "Null renderer not available"
  mediaTimeRejected = 33,           ///< "Media Time time format rejected"
  cannotChangeReferenceClock = 34,  ///< "Could not change the graph's reference clock" (not fatal)
  nextFrameReturned = 35,  ///< "Could not retrieve the requested frame or an earlier one: returning the next available
                           ///< frame" (not fatal)
  noFileWriter = 36,       ///< "Could not create a file writer filter"
  noFileSinkFilter2 = 37,  ///< "Could not get a FileSinkFilter2 interface pointer"
  noAviMultiplexer = 38,   ///< "Cannot create an AVI multiplexer"
  videoSourceCreationFailed = 39,  ///< "Video source creation failed"
  videoStreamCopyImpossible = 40,  ///< "Connection to the AVI mux failed: direct video stream copy impossible"
  audioSourceCreationFailed = 41,  ///< "Audio source creation failed"
  audioStreamCopyImpossible = 42,  ///< "Connection to the AVI mux failed: direct audio stream copy impossible"
  graphNotFullyConfigured = 43,    ///< "The filter graph was not fully configured: it cannot be run yet" (not fatal)
  graphNotStarted = 44,            ///< "The filter graph has not started yet" (not fatal)
  cannotFetchCompressor = 45,      ///< "Could not fetch the requested compression filter" (not fatal)
  noDeviceEnumerator = 46,         ///< "Cannot access the system device enumerator"
  cannotListCompressors = 47,      ///< "Cannot list compressors"
  unreachableCompressorDescription = 48,  ///< "Unreachable compressor description"
  cannotDisplayDialog = 49,               ///< "Can't display the dialog box" (the stream or file stays usable)
  noPrecedingKeySample = 50,              ///< "No preceding key sample or frame found"
  cannotRetrieveFilter = 51,              ///< "Cannot retrieve a filter: filter removed from the system?"
  cannotAddDialogProperty = 52,           ///< "Could not add a property to a dialog box" (not fatal)
  unexpectedError = 53,                   ///< "Unexpected error"
  cannotGetPresentFormat = 54,            ///< "Cannot get the output pin's present stream format" (not fatal)
  cannotGetExposedFormats = 55,           ///< "Cannot get the output pin's exposed formats details" (not fatal)
  cannotRestoreFormat = 56,               ///< "Could not restore the output pin's format" (not fatal)
  unused = 57,                            ///< "Unused error code" (not fatal)
  noOutputPin = 58,                       ///< "No output pin"
  notConfigurableFilter = 59,             ///< "Not configurable filter" (not fatal)
  cannotRetrieveCompressionInfo = 60,     ///< "Could not retrieve the filter's compression information"
  cannotChangeDataRate = 61,              ///< "Could not change the video compressor's output data rate" (not fatal)
  configurationPartlyFailed = 62,         ///< "The configuration of the compressor filter failed partially" (not fatal)
  noInterleavingProperties = 63,          ///< "Cannot access the output interleaving properties"
  writeError = 64,                        ///< "Write error (AVI file output)"
  noSplitter = 65,                        ///< "Could not find a splitter filter"
  cannotDisconnectSplitter = 66,          ///< "Could not disconnect the splitter filter"
  grabberNotConnected = 67,               ///< "The sample grabbers's input pin is not connected"
  cannotDisconnectGrabber = 68,           ///< "Could not disconnect the sample grabber filter"
  nextSampleTimeReturned =
      69,  ///< "Sample does not belong to stream, returning the date of the next available one" (not fatal)
  roughConversion = 70,  ///< "Using a rough formula for time to sample or sample to time conversions" (not fatal)
  laterSampleReturned =
      71,  ///< "No sample found at the given date, returning the closest one at a later date" (not fatal)
  cannotStoreVideoInfo = 72,  ///< "Could not store the stream's format into a VIDEOINFOHEADER structure" (not fatal)
  cannotChangeInterleavingPeriod = 73,  ///< "Could not change the interleaving period (output pin reconnection error)"
  stoppedByNotification =
      74,  ///< "Operation stopped by the progress notification" (a stream that was open stays usable)
};
}  // namespace ds_error

/// Codes of the Video for Windows backend.
namespace vfw_error {
/// Values of AudioOrVideoStream::lastError.
enum Code : int {
  success = 0,                   ///< "Success"
  notOpened = 1,                 ///< "Stream was not successfully opened"
  notEnoughMemory = 2,           ///< "Not enough memory"
  cannotOpenSourceFile = 3,      ///< "Could not open the source file"
  cannotRetrieveStreamInfo = 4,  ///< "Could not retrieve the stream's information block"
  cannotRetrieveFormat = 5,      ///< "Could not retrieve the stream's frames or samples format"
  undefinedStreamLength = 6,     ///< "Undefined stream length"
  noDecompressor = 7,            ///< "Cannot find a proper decompressor"
  parameterOutOfRange = 8,       ///< "Parameter out of range" (not fatal)
  nextFrameReturned = 9,  ///< "Could not retrieve the requested frame or an earlier one: returning the next available
                          ///< frame" (not fatal)
  noFrameFound = 10,      ///< "No frame found"
  cannotDecompress = 11,  ///< "Cannot decompress"
  noPcmFormat = 12,       ///< "Cannot find a PCM format to decompress to"
  cannotInitializeDecompressor = 13,  ///< "Cannot initialize a sound decompressor"
  cannotSeek = 14,                    ///< "Can't seek inside the stream"
  errorReadingSamples = 15,           ///< "Error reading source samples"
  unusableRawFormat = 16,             ///< "Unusable source format for raw samples extraction"
  cannotConvertTime = 17,        ///< "Cannot convert from stream time to sample/frame number or vice-versa" (not fatal)
  noPrecedingKeySample = 18,     ///< "No preceding key sample or frame found"
  noNonEmptyKeySample = 19,      ///< "No non-empty key sample or frame found in the stream"
  dataNotFound = 20,             ///< "Data not found" (not fatal)
  cannotCreateFile = 21,         ///< "Can't create an AVI file"
  cannotCreateVideoStream = 22,  ///< "Can't create a video stream in the AVI file"
  cannotCreateAudioStream = 23,  ///< "Can't create an audio stream in the AVI file"
  cannotSetFormat = 24,          ///< "Cannot set the stream's format"
  cannotSetCompressor = 25,      ///< "Cannot set the compessor" (not fatal)
  compressionDialogError = 26,   ///< "Compression settings dialog box error"
  cannotOpenCodec = 27,          ///< "Can't open the codec"
  cannotAccessCodecParameters = 28,  ///< "Can't access the codec's parameters"
  noConfigurationDialog = 29,        ///< "No configuration dialog box available" (not fatal)
  notFullyConfigured =
      30,  ///< "The AVI file and its streams are not fully configured: they can't be used for writing yet" (not fatal)
  notInterleaved = 31,                   ///< "The AVI file is not actually interleaved" (not fatal)
  cannotDisplayDialog = 32,              ///< "Can't display the configuration dialog box" (the file stays usable)
  cannotAddDialogProperty = 33,          ///< "Could not add a property to the dialog box"
  unknownMaximumFormatSize = 34,         ///< "Unable to determine the maximum size of the audio formats blocks"
  noAudioCompressor = 35,                ///< "No proper compressor found for the input format of the audio stream"
  writeError = 36,                       ///< "Write error (AVI file output)"
  corruptCompressorParameters = 37,      ///< "Corrupt compressor's parameters block"
  cannotInitializeAudioCompressor = 38,  ///< "Cannot initialize the audio compressor"
  audioCompressionFailure = 39,          ///< "Audio compression failure"
  audioCompressionOverflow = 40,         ///< "Audio compression buffer overflow"
};
}  // namespace vfw_error

/// Codes of the output files, the same in both backends.
namespace output_error {
/// Values of AudioOrVideoStream::lastError.
enum Code : int {
  noVideoStream = 200,            ///< "No video stream" (not fatal)
  noAudioStream = 201,            ///< "No audio stream" (not fatal)
  noStreamDefined = 202,          ///< "Both audio and video streams are undefined"
  unacceptableVideoFormat = 203,  ///< "Unacceptable video format"
  directCopyRequired = 204,       ///< "Direct stream copy required" (not fatal)
  compressorAlreadySet = 205,     ///< "Compressor already set" (not fatal)
  dialogCancelled = 206,          ///< "Dialog box cancelled or no compressor selected" (not fatal)
  noCompressorSelected = 207,     ///< "No compressor selected yet" (not fatal)
  audioBufferOverflow = 208,      ///< "Audio buffer overflow"
};
}  // namespace output_error

}  // namespace quillet
