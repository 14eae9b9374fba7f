"""What needs no Windows: that the declarations are the header's, and what the package makes of a library's answers.

    python3 bindings/python/test/bindings_test.py
"""

import ctypes
import pathlib
import subprocess
import sys
import unittest
import unittest.mock

BINDINGS = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(BINDINGS / "python"))

import quillet  # noqa: E402
from quillet import _declarations, _library, _streams  # noqa: E402

LENGTH, WIDTH, HEIGHT = 5, 2, 3


class FakeLibrary:
    """Answers through the types that are declared. Its frames are full of their number, the last is another one."""

    text = ctypes.create_string_buffer("Prüfung".encode())
    code, asked, progress = 0, 0, None

    def __init__(self):
        self.written = []
        for name, (result, arguments) in _declarations.FUNCTIONS.items():
            setattr(self, name, ctypes.CFUNCTYPE(result, *arguments)(getattr(self, "do_" + name, lambda *_: 1)))

    def do_stream_open(self, name, kind, backend, index, progress, user):
        self.code = 74 if progress and progress(user, 1) else 0
        return 7

    def do_is_open(self, handle):
        return self.code != 74

    def do_error(self, handle):
        return self.code

    def do_error_text(self, handle):
        return ctypes.addressof(self.text)

    def do_stream_length(self, handle):
        return LENGTH

    def do_stream_video_format(self, handle, form):
        form[0].width, form[0].height, form[0].header = WIDTH, HEIGHT, ctypes.addressof(self.text)
        return 1

    def do_video_read(self, handle, frame, pixels, rows, buffer, stride, size):
        self.code = 35 if frame[0] == LENGTH - 1 else 0
        ctypes.memset(buffer, frame[0], size)
        return 1

    def do_file_write_picture(self, handle, number, pixels, rows, data, stride, size):
        self.written.append((number, ctypes.string_at(data, size)))
        self.code = 44 if number == 2 else 0
        return number != 2


class Bindings(unittest.TestCase):
    def setUp(self):
        self.fake = FakeLibrary()
        for target, name, value in (_library, "Library", lambda _: self.fake), (_streams, "numpy", None):
            patch = unittest.mock.patch.object(target, name, value)
            patch.start()
            self.addCleanup(patch.stop)
        _library.library.cache_clear()

    def test_declarations_are_those_of_the_header(self):
        self.assertEqual(subprocess.run([sys.executable, BINDINGS / "declare.py", "--check"], check=False).returncode, 0)

    def test_indices_and_slices(self):
        with quillet.open_video("a.avi") as video:
            self.assertEqual([picture[2, 1, 2] for picture in [video[0], video[-2], video[3]]], [0, 3, 3])
            with self.assertWarnsRegex(quillet.QuilletWarning, "Prüfung"):
                pictures = video[::-2]
            self.assertEqual(pictures.shape, (3, HEIGHT, WIDTH, 3))
            self.assertEqual([pictures[each, 2, 1, 2] for each in range(3)], [4, 2, 0])
            self.assertRaises(IndexError, lambda: video[LENGTH])

    def test_progress_stops_and_its_exceptions_arrive(self):
        with self.assertRaises(quillet.Error) as caught:
            quillet.open_video("a.avi", progress=lambda phase: phase == 1)
        self.assertEqual((caught.exception.code, caught.exception.text), (74, "Prüfung"))
        self.assertRaises(ZeroDivisionError, quillet.open_video, "a.avi", progress=lambda phase: 1 / 0)

    def test_pictures_are_numbered_and_failures_raised(self):
        picture = memoryview(bytes(range(18))).cast("B", (HEIGHT, WIDTH, 3))
        with self.assertRaises(quillet.Error), quillet.open_writer("a.avi", quillet.video_format(WIDTH, HEIGHT, 25)) as file:
            for _ in range(4):
                file.write_picture(picture)
        self.assertEqual(self.fake.written, [(number, bytes(range(18))) for number in range(3)])
        self.assertRaises(ValueError, file.write_picture, picture[:0])


if __name__ == "__main__":
    unittest.main()
