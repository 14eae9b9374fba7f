"""Files that are written."""

import ctypes

from ._declarations import AudioFormat, Backend, Compression, Kind, Rows, VideoFormat
from ._library import Handled, layout_of, name_of

PCM_TAG = 1
KINDS = {"video": Kind.VIDEO, "audio": Kind.AUDIO}


def video_format(width, height, rate):
    """The format of frames of 24-bit RGB, `rate` a second."""
    return VideoFormat(width=width, height=height, bits=24, frame_duration=round(10_000_000 / rate))


def audio_format(sample_rate, channels=1, bits=16):
    """The format of samples of PCM."""
    return AudioFormat(tag=PCM_TAG, channels=channels, sample_rate=sample_rate, bits=bits,
                       block_bytes=channels * ((bits + 7) // 8))


def _reference(record):
    return None if record is None else ctypes.byref(record)


class Writer(Handled):
    """An AVI file that is written. As a context manager it finishes the file, unless an exception leaves it."""

    def __init__(self, path, video=None, audio=None, compress_video=False, compress_audio=False,
                 backend=Backend.AUTOMATIC):
        self._video, self._audio = video, audio
        self._next = {Kind.VIDEO: 0, Kind.AUDIO: 0}
        self._is_started = False
        super().__init__("file_open", "file_close", name_of(path), backend, _reference(video), compress_video,
                         _reference(audio), compress_audio)

    def compress(self, kind, codec="", key_every=0, quality=-1, format=None):
        """Sets the compressor of a stream that open_writer was told to compress, over Video for Windows.

        codec -- the video codec's FOURCC, for example "cvid"
        key_every -- frames from one key frame to the next, 0 for the codec's own
        quality -- from 0 to 10,000, -1 for the codec's own
        format -- the AudioFormat to which audio is converted
        """
        compression = Compression(codec=int.from_bytes(codec.encode(), "little"), key_every=key_every, quality=quality)
        if format is not None:
            compression.audio = ctypes.pointer(format)
        self._call("file_compress", KINDS[kind], ctypes.byref(compression))

    def choose_compressor(self, kind, window=None):
        """Lets the user choose the compressor of such a stream, over either backend. `window` is the parent's HWND."""
        self._call("file_choose_compressor", KINDS[kind], window)

    def configure_compressor(self, kind, window=None):
        """Shows the user the compressor's settings."""
        self._call("file_configure_compressor", KINDS[kind], window)

    def write_picture(self, picture, pixels="rgb", number=None):
        """Writes a frame of a file of 24 or 32-bit RGB: an array of height x width x 3, or x 4, as a stream gives it.

        number -- the frame's number; that of the next one when it is left out
        """
        layout, channels = layout_of(pixels)
        view = memoryview(picture)
        shape = (self._video.height, self._video.width, channels) if self._video else ()
        if view.shape != shape or view.itemsize != 1:
            raise ValueError(f"a picture of this file is an array of bytes of the shape {shape}")
        data = view.tobytes()
        self._write(Kind.VIDEO, number, 1, "file_write_picture", layout, Rows.TOP_DOWN, data, shape[1] * channels,
                    len(data))

    def write_frame(self, data, number=None, key=True):
        """Writes a frame as the file's format has it, compressed or not."""
        data = memoryview(data).tobytes()
        self._write(Kind.VIDEO, number, 1, "file_write", data, 1, len(data), key)

    def write_samples(self, data, number=None, count=None, key=True):
        """Writes a run of samples: an array of samples x channels, or bytes.

        count -- how many of the stream's samples; may be left out of PCM
        """
        data = memoryview(data).tobytes()
        if count is None:
            if self._audio is None or self._audio.tag != PCM_TAG or not self._audio.block_bytes:
                raise ValueError("compressed samples are written with their count")
            count = len(data) // self._audio.block_bytes
        self._write(Kind.AUDIO, number, count, "file_write", data, count, len(data), key)

    def finish(self):
        """Completes the file, and lets go of it."""
        self._start()
        self._call("file_finish")
        self.close()

    def __exit__(self, kind, *_):
        try:
            if kind is None and self._closer.alive:
                self.finish()
        finally:
            self.close()

    def _start(self):
        if not self._is_started:
            self._call("file_start")
            self._is_started = True

    def _write(self, kind, number, count, name, *arguments):
        self._start()
        number = self._next[kind] if number is None else number
        self._call(name, *([kind] if name == "file_write" else []), number, *arguments)
        self._next[kind] = number + count


def open_writer(path, video=None, audio=None, compress_video=False, compress_audio=False, backend=Backend.AUTOMATIC):
    """Creates an AVI file; an existing one is overwritten.

    video -- the format of the frames that will be written: video_format(...), or that of a stream; None for no video
    audio -- the format of the samples that will be written: audio_format(...), or that of a stream; None for no audio
    compress_video, compress_audio -- whether the library is to compress them, with a compressor that is set before the
        first write: see Writer.compress and Writer.choose_compressor
    """
    return Writer(path, video, audio, compress_video, compress_audio, backend)
