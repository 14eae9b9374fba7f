"""Written by bindings/declare.py from quillet_c.h: change that, not this."""

from ctypes import CFUNCTYPE, POINTER, Structure
from ctypes import c_char_p, c_double, c_int32, c_int64, c_uint32, c_void_p
from enum import IntEnum


class Kind(IntEnum):
    VIDEO = 1
    AUDIO = 2
    RAW_VIDEO = 3
    RAW_AUDIO = 4


class Backend(IntEnum):
    AUTOMATIC = 0
    VIDEO_FOR_WINDOWS = 1
    DIRECTSHOW = 2


class Pixels(IntEnum):
    BGR24 = 1
    BGRA32 = 2
    RGB24 = 3
    RGBA32 = 4


class Rows(IntEnum):
    TOP_DOWN = 0
    BOTTOM_UP = 1


class Dialog(IntEnum):
    DIALOG_START_HIDDEN = 16
    DIALOG_CAPTIONED = 32


class OwnError(IntEnum):
    ERROR_HANDLE = -1
    ERROR_KIND = -2
    ERROR_ARGUMENT = -3
    ERROR_DIALOG = -4


Progress = CFUNCTYPE(c_int32, c_void_p, c_int32)


class VideoFormat(Structure):
    _fields_ = [
        ("width", c_int32),
        ("height", c_int32),
        ("top_down", c_int32),
        ("bits", c_int32),
        ("compression", c_uint32),
        ("stride", c_int32),
        ("frame_bytes", c_int64),
        ("frame_duration", c_int64),
        ("bit_rate", c_int64),
        ("header", c_void_p),
        ("header_bytes", c_int64),
    ]


class AudioFormat(Structure):
    _fields_ = [
        ("tag", c_int32),
        ("channels", c_int32),
        ("sample_rate", c_int32),
        ("bits", c_int32),
        ("block_bytes", c_int32),
        ("bytes_per_second", c_int32),
        ("header", c_void_p),
        ("header_bytes", c_int64),
    ]


class RawSample(Structure):
    _fields_ = [
        ("number", c_int64),
        ("count", c_int64),
        ("bytes", c_int64),
        ("time", c_double),
        ("key", c_int32),
        ("data", c_void_p),
    ]


class Compression(Structure):
    _fields_ = [
        ("codec", c_uint32),
        ("key_every", c_int32),
        ("quality", c_int32),
        ("audio", POINTER(AudioFormat)),
    ]


# The result and the arguments of each function.
FUNCTIONS = {
    "version": (c_char_p, []),
    "set_apartment": (None, [c_int32]),
    "count_streams": (c_int32, [c_char_p, c_int32, POINTER(c_int32), POINTER(c_int32)]),
    "count_streams_text": (c_char_p, [c_int32]),
    "is_video_type": (c_int32, [c_void_p]),
    "is_audio_type": (c_int32, [c_void_p]),
    "error": (c_int32, [c_void_p]),
    "error_text": (c_char_p, [c_void_p]),
    "error_is_fatal": (c_int32, [c_void_p]),
    "is_open": (c_int32, [c_void_p]),
    "uses_directshow": (c_int32, [c_void_p]),
    "stream_open": (c_void_p, [c_char_p, c_int32, c_int32, c_int32, Progress, c_void_p]),
    "stream_open_behind_dialog": (c_void_p, [c_char_p, c_int32, c_int32, c_int32, c_void_p, c_int32, c_char_p]),
    "stream_close": (None, [c_void_p]),
    "stream_kind": (c_int32, [c_void_p]),
    "stream_length": (c_int64, [c_void_p]),
    "stream_duration": (c_double, [c_void_p]),
    "stream_time_of": (c_double, [c_void_p, POINTER(c_int64)]),
    "stream_sample_at": (c_int64, [c_void_p, POINTER(c_double)]),
    "stream_video_format": (c_int32, [c_void_p, POINTER(VideoFormat)]),
    "stream_audio_format": (c_int32, [c_void_p, POINTER(AudioFormat)]),
    "stream_set_progress": (c_int32, [c_void_p, Progress, c_void_p]),
    "stream_use_dialog": (c_int32, [c_void_p, c_int32, c_void_p, c_int32, c_char_p]),
    "stream_configure": (c_int32, [c_void_p, c_void_p]),
    "stream_tune": (c_int32, [c_void_p, c_int32, c_int32, c_int32]),
    "video_rate": (c_double, [c_void_p]),
    "video_find": (c_int64, [c_void_p, c_int64]),
    "video_set_frame_budget": (c_int32, [c_void_p, c_int64]),
    "video_frame": (c_void_p, [c_void_p, POINTER(c_int64)]),
    "video_read": (c_int32, [c_void_p, POINTER(c_int64), c_int32, c_int32, c_void_p, c_int64, c_int64]),
    "audio_samples": (c_void_p, [c_void_p, c_int64, c_int64]),
    "audio_read": (c_int32, [c_void_p, c_int64, c_int64, c_void_p, c_int64]),
    "raw_read": (c_int32, [c_void_p, POINTER(RawSample)]),
    "raw_next": (c_int32, [c_void_p, POINTER(RawSample)]),
    "raw_first_key": (c_int64, [c_void_p]),
    "raw_media_type": (c_void_p, [c_void_p]),
    "file_open": (c_void_p, [c_char_p, c_int32, POINTER(VideoFormat), c_int32, POINTER(AudioFormat), c_int32]),
    "file_close": (None, [c_void_p]),
    "file_can_set_compressor": (c_int32, [c_void_p, c_int32]),
    "file_set_compressor": (c_int32, [c_void_p, c_int32, c_void_p]),
    "file_compress": (c_int32, [c_void_p, c_int32, POINTER(Compression)]),
    "file_is_compressor_set": (c_int32, [c_void_p, c_int32]),
    "file_choose_compressor": (c_int32, [c_void_p, c_int32, c_void_p]),
    "file_configure_compressor": (c_int32, [c_void_p, c_int32, c_void_p]),
    "file_configure": (c_int32, [c_void_p, c_void_p]),
    "file_is_interleaving": (c_int32, [c_void_p]),
    "file_set_interleaving": (c_int32, [c_void_p, c_int32]),
    "file_interleaving_period": (c_int64, [c_void_p]),
    "file_set_interleaving_period": (c_int32, [c_void_p, c_int64]),
    "file_accepts_formats": (c_int32, [c_void_p]),
    "file_is_compressed": (c_int32, [c_void_p, c_int32]),
    "file_can_start": (c_int32, [c_void_p]),
    "file_start": (c_int32, [c_void_p]),
    "file_write": (c_int32, [c_void_p, c_int32, c_int64, c_void_p, c_int64, c_int64, c_int32]),
    "file_write_picture": (c_int32, [c_void_p, c_int64, c_int32, c_int32, c_void_p, c_int64, c_int64]),
    "file_write_buffered": (c_int32, [c_void_p, c_int64, c_void_p, c_int64, c_int64, c_int32]),
    "file_flush": (c_int32, [c_void_p]),
    "file_next_number": (c_int64, [c_void_p, c_int32, c_int32]),
    "file_finish": (c_int32, [c_void_p]),
    "engine_open": (c_void_p, [c_void_p, c_int32]),
    "engine_close": (None, [c_void_p]),
    "engine_write": (c_int32, [c_void_p, c_int32, c_int64, c_void_p, c_int64, c_int64, c_int32]),
    "engine_write_next": (c_int32, [c_void_p, c_int32, c_void_p, c_int64, c_int64, c_int32]),
    "engine_end": (None, [c_void_p, c_int32]),
    "engine_stop": (None, [c_void_p]),
    "engine_finish": (c_int32, [c_void_p]),
}
