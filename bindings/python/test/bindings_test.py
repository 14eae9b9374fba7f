"""What needs no Windows: that the declarations are the header's, and what the package makes of a library's answers."""

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
    """Answers through the types that are declared. Frames are full of their number; the last comes with a warning."""

    text = ctypes.create_string_buffer("Prüfung".encode())

    def __init__(self):
        self.code, self.written = 0, []
        answers = {"error": lambda _: self.code, "error_text": lambda _: ctypes.addressof(self.text),
                   "is_open": lambda _: self.code != 74, "stream_length": lambda _: LENGTH, "stream_open": self.open,
                   "stream_video_format": self.format, "video_read": self.read, "file_write_picture": self.write}
        for name, (result, arguments) in _declarations.FUNCTIONS.items():
            setattr(self, name, ctypes.CFUNCTYPE(result, *arguments)(answers.get(name, lambda *_: 1)))

    def open(self, name, kind, backend, index, progress, user):
        self.code = 74 if progress and progress(user, 1) else 0
        return 7

    def format(self, handle, form):
        form[0].width, form[0].height, form[0].header = WIDTH, HEIGHT, ctypes.addressof(self.text)
        return 1

    def read(self, handle, frame, pixels, rows, buffer, stride, size):
        self.code = 35 if frame[0] == LENGTH - 1 else 0
        ctypes.memset(buffer, frame[0], size)
        return 1

    def write(self, handle, number, pixels, rows, data, stride, size):
        self.written.append((number, ctypes.string_at(data, size)))
        self.code = 44 if number == 2 else 0
        return number != 2


class Bindings(unittest.TestCase):
    def test_declarations_are_those_of_the_header(self):
        subprocess.run([sys.executable, BINDINGS / "declare.py", "--check"], check=True)

    @unittest.mock.patch.object(_streams, "numpy", None)
    def test_answers(self):
        fake = FakeLibrary()
        with unittest.mock.patch.object(_library, "Library", lambda _: fake):
            _library.library()

        with quillet.open_video("a.avi") as video:
            self.assertEqual([picture[2, 1, 2] for picture in (video[0], video[-2], video[3])], [0, 3, 3])
            with self.assertWarnsRegex(quillet.QuilletWarning, "Prüfung"):
                pictures = video[::-2]
            self.assertEqual([pictures[each, 2, 1, 2] for each in range(3)], [4, 2, 0])
            self.assertRaises(IndexError, lambda: video[LENGTH])

        with self.assertRaises(quillet.Error) as stopped:
            quillet.open_video("a.avi", progress=lambda phase: phase == 1)
        self.assertEqual((stopped.exception.code, stopped.exception.text), (74, "Prüfung"))
        self.assertRaises(ZeroDivisionError, quillet.open_video, "a.avi", progress=lambda phase: 1 / 0)

        fake.code, data = 0, bytes(range(18))
        file = quillet.open_writer("a.avi", quillet.video_format(WIDTH, HEIGHT, 25))
        with self.assertRaises(quillet.Error), file:
            for _ in range(4):
                file.write_picture(memoryview(data).cast("B", (HEIGHT, WIDTH, 3)))
        self.assertEqual(fake.written, [(number, data) for number in range(3)])
        self.assertRaises(ValueError, file.write_picture, data)


if __name__ == "__main__":
    unittest.main()
