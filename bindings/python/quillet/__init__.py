"""Exact video frames and runs of audio samples of media files, by number; AVI files written.

    import quillet

    with quillet.open_video("clip.avi") as video:
        picture = video[42]

Streams are opened with open_video, open_audio and open_raw, files with open_writer.
"""

from ._declarations import AudioFormat, Backend, VideoFormat
from ._library import Error, QuilletWarning, version
from ._streams import AudioStream, RawStream, Sample, StreamCount, VideoStream, count_streams
from ._streams import open_audio, open_raw, open_video
from ._writer import Writer, audio_format, open_writer, video_format

__all__ = [
    "AudioFormat", "AudioStream", "Backend", "Error", "QuilletWarning", "RawStream", "Sample", "StreamCount",
    "VideoFormat", "VideoStream", "Writer", "audio_format", "count_streams", "open_audio", "open_raw", "open_video",
    "open_writer", "version", "video_format",
]
