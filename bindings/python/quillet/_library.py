"""The library, and what every object of it has in common: a handle, errors, warnings, its end."""

import ctypes
import functools
import os
import threading
import warnings
import weakref

from ._declarations import FUNCTIONS, OwnError, Pixels

# The layouts of a picture: what the library calls them, and how many bytes a pixel has.
LAYOUTS = {"rgb": (Pixels.RGB24, 3), "bgr": (Pixels.BGR24, 3), "rgba": (Pixels.RGBA32, 4), "bgra": (Pixels.BGRA32, 4)}


class Error(Exception):
    """What the library could not do.

    code -- the library's code; which one it is depends on `directshow`, those below 0 and from 200 on are of both
    text -- the library's text
    fatal -- whether the object cannot be used any more
    directshow -- whether the object is of DirectShow, rather than of Video for Windows
    """

    def __init__(self, code, text, fatal=True, directshow=False):
        super().__init__(f"{text} (code {code})")
        self.code, self.text, self.fatal, self.directshow = code, text, fatal, directshow


class QuilletWarning(UserWarning):
    """What the library has done, but not quite as it was asked: another frame than that of the number, for example.

    `code` and `text` as of Error.
    """

    def __init__(self, code, text):
        super().__init__(f"{text} (code {code})")
        self.code, self.text = code, text


class Library:
    """The functions of the DLL, without their prefix."""

    def __init__(self, path):
        dll = ctypes.CDLL(path)
        for name, (result, arguments) in FUNCTIONS.items():
            function = getattr(dll, "quillet_" + name)
            function.restype, function.argtypes = result, arguments
            setattr(self, name, function)


@functools.lru_cache(maxsize=None)
def library():
    """The library: the file that QUILLET_DLL names, or the one beside this package, or the one that Windows finds."""
    beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "quillet.dll")
    return Library(os.environ.get("QUILLET_DLL") or (beside if os.path.exists(beside) else "quillet.dll"))


def version():
    """The library's version."""
    return library().version().decode()


def name_of(path):
    """The name of a file as the library takes it."""
    return os.fsdecode(path).encode()


def layout_of(pixels):
    """What the library calls a layout, and how many bytes a pixel has."""
    if pixels not in LAYOUTS:
        raise ValueError(f"pixels: one of {', '.join(LAYOUTS)}")
    return LAYOUTS[pixels]


class Handled:
    """An object of the library. One thread at a time uses it, others wait; `close` may be called again and again."""

    def __init__(self, open_name, close_name, *arguments):
        self._lock = threading.Lock()
        self._progress_thread = None
        self._raised = None
        self._handle = getattr(library(), open_name)(*arguments)
        if self._handle is None:
            raise MemoryError("the library has no memory for another object")
        # Also when nobody has closed it, at the latest when the program ends.
        self._closer = weakref.finalize(self, getattr(library(), close_name), self._handle)
        is_open = library().is_open(self._handle)
        try:
            self._check(not is_open)
        except BaseException:
            self._closer()
            raise

    def close(self):
        """Lets go of the file. Every operation then fails."""
        with self._locked():
            self._closer()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    @property
    def directshow(self):
        """Whether the object is of DirectShow, rather than of Video for Windows."""
        return bool(library().uses_directshow(self._handle))

    def _locked(self):
        if self._progress_thread == threading.get_ident():
            raise RuntimeError("a progress function must not use the object whose progress it is told of")
        return self._lock

    def _call(self, name, *arguments):
        """What a function of the library answers for this object. Raises what went wrong, and warns."""
        with self._locked():
            result = getattr(library(), name)(self._handle, *arguments)
            kind = FUNCTIONS[name][0]
            self._check(result is None if kind is ctypes.c_void_p else
                        result == 0 if kind is ctypes.c_int32 else result < 0)
        return result

    def _check(self, has_failed):
        if self._raised is not None:
            raised, self._raised = self._raised, None
            raise raised
        code = library().error(self._handle)
        if not has_failed and code == 0:
            return
        text = library().error_text(self._handle).decode()
        if has_failed:
            raise Error(code, text, bool(library().error_is_fatal(self._handle)), self.directshow)
        warnings.warn(QuilletWarning(code, text), stacklevel=5)

    def _tell(self, progress, phase):
        """Told of progress, on the thread that has called or on one of the library's."""
        self._progress_thread = threading.get_ident()
        try:
            return 1 if progress(phase) else 0
        except BaseException as raised:
            self._raised = raised  # For the thread that has called: _check.
            return 1
        finally:
            self._progress_thread = None
