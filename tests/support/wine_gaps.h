// Where Wine differs from Windows, and no test can expect what Windows does. Each test that meets a gap expects the gap
// of the versions that have it, so that it fails once Wine has closed it: say before which version that was, then.

#pragma once

#include <cstdlib>

#include <windows.h>

namespace quillet::test::wine_gap {

/// The number before the point of the version of Wine; of those between 8 and 10 nothing was seen.
inline const int wineVersion = [] {
  const auto tell = reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA("ntdll.dll"), "wine_get_version"));
  return tell != nullptr ? std::atoi(reinterpret_cast<const char*(CDECL*)()>(tell)()) : 0;
}();
inline const bool isWine = wineVersion > 0, isWineBefore10 = isWine && wineVersion < 10;

/// AVIFileInit enters a single-threaded apartment where it can, and AVIFileExit does not leave it: a thread that has
/// gone from the multithreaded to a single-threaded apartment cannot go back.
inline const bool aviFileExitKeepsApartment = isWine;

/// AVIStreamGetFrame gives the picture before when the codec cannot decompress a frame. It fails, as it should, when the
/// frame cannot be read.
inline const bool getFrameIgnoresCodecErrors = isWine;

/// AVIStreamGetFrame gives the key frame before where frames are not compressed and not all of them are marked as key
/// frames, as those of a file without an index are: unless it has given the frame before last.
inline const bool getFrameStopsAtKeyFrames = isWine;

/// AVIStreamTimeToSample computes in single precision in 64 bits: of an hour's times some are the frame beside.
inline const bool wideTimesAreSingles = isWine;

/// Sound in chunks of different sizes (MP3, AC3) opens with samples of an invented size, of which every read gives none: the
/// raw source fails with the code for reading, and a decoded source has no length. A read far inside ends the process.
inline const bool piecesOfSoundHaveNoSize = isWine;

/// Heap blocks that acmFormatSuggest never frees, each time that it is called.
inline const long blocksLeftByFormatSuggest = isWine ? 2 : 0;

/// Heap blocks that a compressed stream leaves: it does not close its compressor.
inline const long blocksOfACompressedStream = isWine ? 1 : 0;

/// Handles that a filter graph leaves open, and heap blocks that one leaves that has run.
inline const long handlesOfAGraph = isWine ? 1 : 0;
inline const long blocksOfAGraph = isWineBefore10 ? 2 : isWine ? 1 : 0;

/// Heap blocks that a graph leaves that has not run, or without a clock.
inline const long blocksOfAnIdleGraph = isWineBefore10 ? 1 : 0;

/// Of streams whose frames are stored in another order than they are shown in, the splitter gives some frames the time of
/// others after a seek.
inline const bool splitterFalsifiesTimes = isWine;

/// Which of two streams of a kind is the first changes from one opening to the next.
inline const bool splitterShufflesStreams = wineVersion >= 10;

/// The splitter knows no type for a stream of IMA ADPCM, so that it can be neither asked for nor rendered.
/// From version 10 on the detector does not even open a file that has nothing else.
inline const bool imaHasNoMediaType = isWine;

/// AVIFile writes one piece of audio, of which it makes a file of one sample, and no further one.
inline const bool aviFileWritesOnePieceOfAudio = isWine;

/// What programs register for the user alone is not seen in HKEY_CLASSES_ROOT.
inline const HKEY rootOfClasses = isWine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;

/// What the compressor is called in the system's list of them.
inline const char* const runLengthCodec = isWine ? "Wine MS-RLE video codec" : "Microsoft RLE";

/// GetProcessHandleCount answers 0.
inline const bool handlesAreNotCounted = isWine;

/// Small heap blocks of a size are kept in groups of 31, which are blocks themselves, and the only ones that HeapWalk tells of.
inline const bool heapWalkTellsGroups = wineVersion >= 10;

/// OleCreatePropertyFrame does not give its frame the owner that it is given.
inline const bool propertyFrameHasNoOwner = isWine;

}  // namespace quillet::test::wine_gap
