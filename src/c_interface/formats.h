// The format records of the C interface, from and to the platform's.

#pragma once

#include <vector>

#include <windows.h>

#include <quillet/platform_formats.h>
#include <quillet/quillet_c.h>
#include <quillet/raw_data_source_stream.h>

namespace quillet {

/// The format of raw samples as a writer takes it: complete, with all that its header tells of.
/// @return a VIDEOINFOHEADER or a WAVEFORMATEX with what belongs to it; empty, with the code in the stream, when it is
///     neither.
std::vector<BYTE> writableFormat(RawDataSourceStream& stream);

/// Describes frames.
/// @param block a VIDEOINFOHEADER with what belongs to it; the description points into it.
quillet_video_format describeVideo(const std::vector<BYTE>& block);

/// Describes samples.
/// @param block a WAVEFORMATEX with what belongs to it; the description points into it.
quillet_audio_format describeAudio(const std::vector<BYTE>& block);

/// @return a VIDEOINFOHEADER with what belongs to it; empty when there can be no such format.
std::vector<BYTE> videoBlock(const quillet_video_format& format);

/// @return a WAVEFORMATEX with what belongs to it; empty when there can be no such format.
std::vector<BYTE> audioBlock(const quillet_audio_format& format);

}  // namespace quillet
