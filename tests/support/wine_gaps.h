// Where Wine 8, on which the tests run, differs from Windows, and no test can expect what Windows does. Each test that
// meets a gap expects the gap, so that it fails once Wine has closed it: set the constant to false, or 0, then.

#pragma once

namespace quillet::test::wine_gap {

/// AVIFileInit enters a single-threaded apartment where it can, and AVIFileExit does not leave it: a thread that has
/// gone from the multithreaded to a single-threaded apartment cannot go back.
inline constexpr bool aviFileExitKeepsApartment = true;

/// AVIStreamGetFrame gives the picture before when the codec cannot decompress a frame. It fails, as it should, when the
/// frame cannot be read.
inline constexpr bool getFrameIgnoresCodecErrors = true;

/// AVIStreamGetFrame gives the key frame before where frames are not compressed and not all of them are marked as key
/// frames, as those of a file without an index are: unless it has given the frame before last.
inline constexpr bool getFrameStopsAtKeyFrames = true;

/// AVIStreamTimeToSample computes in single precision in 64 bits: of an hour's times some are the frame beside.
inline constexpr bool wideTimesAreSingles = true;

/// Sound in chunks of different sizes (MP3, AC3) opens with samples of an invented size, of which every read gives none: the
/// raw source fails with the code for reading, and a decoded source has no length. A read far inside ends the process.
inline constexpr bool piecesOfSoundHaveNoSize = true;

/// Heap blocks that acmFormatSuggest never frees, each time that it is called.
inline constexpr long blocksLeftByFormatSuggest = 2;

/// Heap blocks that a compressed stream leaves: it does not close its compressor.
inline constexpr long blocksOfACompressedStream = 1;

/// Handles that a filter graph leaves open, and heap blocks that one leaves that has run.
inline constexpr long handlesOfAGraph = 1;
inline constexpr long blocksOfAGraph = 2;

/// Heap blocks that a graph leaves that has not run, or without a clock.
inline constexpr long blocksOfAnIdleGraph = 1;

/// Of streams whose frames are stored in another order than they are shown in, the splitter gives some frames the time of
/// others after a seek.
inline constexpr bool splitterFalsifiesTimes = true;

/// The splitter knows no type for a stream of IMA ADPCM, so that it can be neither asked for nor rendered.
inline constexpr bool imaHasNoMediaType = true;

/// OleCreatePropertyFrame does not give its frame the owner that it is given.
inline constexpr bool propertyFrameHasNoOwner = true;

}  // namespace quillet::test::wine_gap
