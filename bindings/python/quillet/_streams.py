"""Streams that are read."""

import ctypes
import operator
import weakref
from typing import NamedTuple, Optional

from ._declarations import AudioFormat, Backend, Kind, Progress, RawSample, Rows, VideoFormat
from ._library import Error, Handled, layout_of, library, name_of

try:
    import numpy
except ImportError:
    numpy = None

FLOAT_TAG = 3
BEYOND_DATA = 12  # DirectShow's code at the end of a stream.


def _array(data, code, shape):
    """An array over a bytearray: NumPy's, or a memoryview without NumPy. The type's code means the same to both."""
    if numpy is not None:
        return numpy.ndarray(shape, code, data)
    return memoryview(data).cast(code, shape) if data else memoryview(data)


def _keep_header(record):
    """Gives a format a copy of its header, so that it outlives the stream."""
    record.kept = ctypes.create_string_buffer(ctypes.string_at(record.header, record.header_bytes), record.header_bytes)
    record.header = ctypes.addressof(record.kept)
    return record


class Stream(Handled):
    """What all streams have. Samples are numbered from 0: frames, of video. Times are in milliseconds."""

    def __init__(self, path, kind, backend, stream, progress):
        this = weakref.ref(self)
        self._progress = Progress(lambda _, phase: this()._tell(progress, phase)) if progress else Progress()
        super().__init__("stream_open", "stream_close", name_of(path), kind, backend, stream, self._progress, None)

    def __len__(self):
        return self._call("stream_length")

    @property
    def duration(self):
        """The length in milliseconds."""
        return self._call("stream_duration")

    @property
    def format(self):
        """What the stream delivers: a VideoFormat or an AudioFormat, as open_writer takes it."""
        is_video = library().stream_kind(self._handle) in (Kind.VIDEO, Kind.RAW_VIDEO)
        record = VideoFormat() if is_video else AudioFormat()
        self._call("stream_video_format" if is_video else "stream_audio_format", ctypes.byref(record))
        return _keep_header(record)

    def time_of(self, number):
        """The time of a sample in milliseconds."""
        return self._call("stream_time_of", ctypes.byref(ctypes.c_int64(self._number(number))))

    def index_at(self, time):
        """The number of the sample at a time in milliseconds."""
        return self._call("stream_sample_at", ctypes.byref(ctypes.c_double(time)))

    def _number(self, index):
        """The number that an index means, which counts from the end when it is negative."""
        index, length = operator.index(index), len(self)
        if not -length <= index < length:
            raise IndexError(f"{index} of {length}")
        return index % length

    def _run(self, index):
        """The numbers of a slice."""
        return range(*index.indices(len(self)))


class VideoStream(Stream):
    """A stream of frames: video[42], video[-1], video[10:20:2], for picture in video.

    A frame is an array of height x width x 3 bytes, the top row first, red, green and blue: NumPy's, or a memoryview
    without NumPy. A slice is one array of frames x height x width x 3.
    """

    def __init__(self, path, backend=Backend.AUTOMATIC, stream=0, pixels="rgb", progress=None):
        self._layout, self._channels = layout_of(pixels)
        super().__init__(path, Kind.VIDEO, backend, stream, progress)
        form = self.format
        self._shape = (form.height, form.width, self._channels)

    @property
    def rate(self):
        """Frames a second."""
        return self._call("video_rate")

    def find(self, number):
        """The number of the frame that the stream has for a number: this one, or where it has none the nearest."""
        return self._call("video_find", self._number(number))

    def set_frame_budget(self, size):
        """Bounds the bytes of decoded frames that are kept for steps back; 0 to keep none, negative for the default."""
        self._call("video_set_frame_budget", size)

    def __getitem__(self, index):
        if isinstance(index, slice):
            numbers = self._run(index)
            return _array(self._read(numbers), "B", (len(numbers), *self._shape))
        return _array(self._read([self._number(index)]), "B", self._shape)

    def __iter__(self):
        return (self[number] for number in range(len(self)))

    def _read(self, numbers):
        height, width, channels = self._shape
        size = height * width * channels
        data = bytearray(len(numbers) * size)
        for place, number in enumerate(numbers):
            target = (ctypes.c_char * size).from_buffer(data, place * size)
            self._call("video_read", ctypes.byref(ctypes.c_int64(number)), self._layout, Rows.TOP_DOWN, target,
                       width * channels, size)
        return data


class AudioStream(Stream):
    """A stream of samples: audio[1000:2000], audio[-1], for block in audio.blocks().

    A run is an array of samples x channels, NumPy's, or a memoryview without NumPy: of the type that the format's bits
    are. Those of 24 bits are 3 bytes: an array of samples x channels x 3.
    """

    def __init__(self, path, backend=Backend.AUTOMATIC, stream=0, progress=None):
        super().__init__(path, Kind.AUDIO, backend, stream, progress)
        form = self.format
        self._bytes = form.block_bytes
        size = form.block_bytes // form.channels
        self._code = ({4: "f", 8: "d"} if form.tag == FLOAT_TAG else {1: "B", 2: "h", 4: "i"}).get(size, "")
        self._shape = (form.channels,) if self._code else (form.channels, size)

    @property
    def rate(self):
        """Samples a second."""
        return self.format.sample_rate

    def __getitem__(self, index):
        if not isinstance(index, slice):
            return self._read(range(self._number(index), len(self))[:1], self._shape)
        run = self._run(index)
        if run.step != 1:
            raise ValueError("runs of audio have no step")
        return self._read(run, (len(run), *self._shape))

    def blocks(self, size=65536):
        """The whole stream, `size` samples at a time."""
        return (self[start:start + size] for start in range(0, len(self), size))

    def _read(self, run, shape):
        data = bytearray(len(run) * self._bytes)
        if data:
            target = (ctypes.c_char * len(data)).from_buffer(data)
            self._call("audio_read", run.start, len(run), target, len(data))
        return _array(data, self._code or "B", shape)


class Sample(NamedTuple):
    """A compressed sample."""

    data: bytes
    number: int  # Of the first of the stream's samples that the data covers.
    count: int  # How many it covers.
    key: bool
    time: Optional[float]  # Milliseconds; None where the sample carries none: see time_of.


class RawStream(Stream):
    """A stream as the file stores it: raw[42] is the Sample that covers a number, and iterating gives each Sample once,
    in stored order. Each iteration begins anew, and is to be ended, or dropped, before another use of the stream."""

    def __init__(self, path, kind, backend=Backend.AUTOMATIC, stream=0, progress=None):
        kinds = {"video": Kind.RAW_VIDEO, "audio": Kind.RAW_AUDIO}
        if kind not in kinds:
            raise ValueError("kind: video or audio")
        super().__init__(path, kinds[kind], backend, stream, progress)

    def __getitem__(self, number):
        return self._read("raw_read", RawSample(number=self._number(number)))

    def key_before(self, number):
        """The key sample at or before a number."""
        return self._read("raw_read", RawSample(number=self._number(number), key=1))

    @property
    def first_key(self):
        """The number of the first key sample."""
        return self._call("raw_first_key")

    def __iter__(self):
        return self._in_order() if self.directshow else self._by_number()

    def _in_order(self):
        library().raw_read(self._handle, ctypes.byref(RawSample()))  # Goes back to the start.
        while True:
            try:
                yield self._read("raw_next", RawSample())
            except Error as error:
                if error.code == BEYOND_DATA:
                    return
                raise

    def _by_number(self):
        number = max(library().raw_first_key(self._handle), 0)  # What lies before cannot be read.
        while number < len(self):
            sample = self._read("raw_read", RawSample(number=number))
            yield sample
            number = max(number, sample.number + sample.count - 1) + 1

    def _read(self, name, record):
        self._call(name, ctypes.byref(record))
        return Sample(ctypes.string_at(record.data, record.bytes), record.number, record.count, bool(record.key),
                      None if record.time < 0 else record.time)


class StreamCount(NamedTuple):
    """How many streams a file has."""

    video: int
    audio: int


def count_streams(path, may_use_graph=True):
    """Counts the streams of a file that the system can tell apart. None is decoded, or played.

    may_use_graph -- whether to ask a filter graph where the system's media detector is of no use
    """
    video, audio = ctypes.c_int32(), ctypes.c_int32()
    code = library().count_streams(name_of(path), may_use_graph, ctypes.byref(video), ctypes.byref(audio))
    if code != 0:
        raise Error(code, library().count_streams_text(code).decode())
    return StreamCount(video.value, audio.value)


def open_video(path, backend=Backend.AUTOMATIC, stream=0, pixels="rgb", progress=None):
    """Opens a stream of video.

    backend -- a Backend
    stream -- its number among the file's streams of video
    pixels -- the layout of the frames: "rgb", "bgr", "rgba" or "bgra"
    progress -- told of each step of a long operation, with the kind of step, a number from 0 to 3: 0 and 1 while the
        stream is opened, 2 and 3 while a sample is searched. True stops the operation, with the Error 74. It may be
        called on another thread, and must not use the stream.
    """
    return VideoStream(path, backend, stream, pixels, progress)


def open_audio(path, backend=Backend.AUTOMATIC, stream=0, progress=None):
    """Opens a stream of audio, with what open_video takes."""
    return AudioStream(path, backend, stream, progress)


def open_raw(path, kind, backend=Backend.AUTOMATIC, stream=0, progress=None):
    """Opens a stream as the file stores it, of "video" or "audio", with what open_video takes."""
    return RawStream(path, kind, backend, stream, progress)
