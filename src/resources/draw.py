#!/usr/bin/env python3
"""Draws the library's icons and the animation of its progress dialog beside this file: audio.ico, raw_data.ico, progress.avi."""
import pathlib
import struct

HERE = pathlib.Path(__file__).parent
SAMPLES = 4  # Per pixel and direction.

BLUE = (38, 92, 150)
LIGHT_BLUE = (120, 170, 215)
GREY = (90, 98, 108)


def audio(x, y):
    """A loudspeaker with two sound waves, on the unit square."""
    if 0.08 <= x <= 0.26 and 0.36 <= y <= 0.64:
        return GREY
    if 0.26 <= x <= 0.48 and abs(y - 0.5) <= 0.14 + (x - 0.26) * 1.05:
        return GREY
    distance = ((x - 0.42) ** 2 + (y - 0.5) ** 2) ** 0.5
    in_front = x > 0.54 and abs(y - 0.5) <= 0.9 * (x - 0.42)
    if in_front and 0.22 <= distance <= 0.29:
        return BLUE
    if in_front and 0.38 <= distance <= 0.45:
        return LIGHT_BLUE
    return None


def raw_data(x, y):
    """Samples of different sizes in a row, the key sample before the others."""
    bars = ((0.08, 0.80, BLUE), (0.26, 0.40, LIGHT_BLUE), (0.44, 0.52, LIGHT_BLUE), (0.62, 0.30, LIGHT_BLUE),
            (0.80, 0.46, LIGHT_BLUE))
    if 0.86 <= y <= 0.92 and 0.05 <= x <= 0.95:
        return GREY
    for left, height, colour in bars:
        if left <= x <= left + 0.13 and 0.82 - height <= y <= 0.82:
            return colour
    return None


def pixel(picture, x, y, size):
    steps = [(i + 0.5) / SAMPLES for i in range(SAMPLES)]
    hits = [hit for dy in steps for dx in steps if (hit := picture((x + dx) / size, (y + dy) / size))]
    if not hits:
        return 0, 0, 0, 0
    red, green, blue = (sum(hit[i] for hit in hits) // len(hits) for i in range(3))
    return blue, green, red, 255 * len(hits) // SAMPLES**2


def icon(picture):
    sizes = (16, 32, 48)
    images = []
    for size in sizes:
        header = struct.pack("<IiiHHIIiiII", 40, size, 2 * size, 1, 32, 0, 0, 0, 0, 0, 0)
        rows = [pixel(picture, x, y, size) for y in reversed(range(size)) for x in range(size)]
        mask = b"\0" * ((size + 31) // 32 * 4) * size
        images.append(header + b"".join(bytes(p) for p in rows) + mask)
    offset = 6 + 16 * len(sizes)
    directory = struct.pack("<HHH", 0, 1, len(sizes))
    for size, image in zip(sizes, images):
        directory += struct.pack("<BBBBHHII", size, size, 0, 0, 1, 32, len(image), offset)
        offset += len(image)
    return directory + b"".join(images)


PALETTE = ((255, 0, 255), (52, 58, 66), (214, 220, 226), BLUE, LIGHT_BLUE)
CLEAR, FILM, HOLE, DARK_FRAME, LIGHT_FRAME = range(len(PALETTE))
WIDTH, HEIGHT = 32, 26
FRAME_PITCH, HOLE_PITCH, SPEED = 32, 8, 2


def film(x, y, step):
    """A strip of film on its way to the left. Its corners are clear: that is the colour that the control leaves out."""
    if y in (0, HEIGHT - 1):
        return CLEAR
    along = x + step * SPEED
    if y in (3, 4, HEIGHT - 5, HEIGHT - 4):
        return HOLE if along % HOLE_PITCH < 3 else FILM
    if 7 <= y < HEIGHT - 7:
        place = along % (FRAME_PITCH // 2)
        if 1 <= place < FRAME_PITCH // 2 - 1:
            return DARK_FRAME if along // (FRAME_PITCH // 2) % 2 else LIGHT_FRAME
    return FILM


def chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + b"\0" * (len(data) % 2)


def listing(name, data):
    return chunk(b"LIST", name + data)


def animation():
    """Uncompressed, with 8 bits a pixel: what every version of the animation control plays."""
    count, rate, size = FRAME_PITCH // SPEED, 12, WIDTH * HEIGHT
    frames = b""
    index = b""
    for step in range(count):
        pixels = bytes(film(x, y, step) for y in reversed(range(HEIGHT)) for x in range(WIDTH))
        index += struct.pack("<4sIII", b"00db", 0x10, 4 + len(frames), size)
        frames += chunk(b"00db", pixels)
    colours = b"".join(struct.pack("<BBBB", blue, green, red, 0) for red, green, blue in PALETTE)
    main = struct.pack("<14I", 1_000_000 // rate, size * rate, 0, 0x10, count, 0, 1, size, WIDTH, HEIGHT, 0, 0, 0, 0)
    stream = struct.pack("<4s4sIHHIIIIIIII4H", b"vids", b"DIB ", 0, 0, 0, 0, 1, rate, 0, count, size, 0, 0, 0, 0, WIDTH,
                         HEIGHT)
    format_ = struct.pack("<IiiHHIIiiII", 40, WIDTH, HEIGHT, 1, 8, 0, size, 0, 0, len(PALETTE), 0) + colours
    headers = listing(b"hdrl", chunk(b"avih", main) +
                      listing(b"strl", chunk(b"strh", stream) + chunk(b"strf", format_)))
    return chunk(b"RIFF", b"AVI " + headers + listing(b"movi", frames) + chunk(b"idx1", index))


(HERE / "audio.ico").write_bytes(icon(audio))
(HERE / "raw_data.ico").write_bytes(icon(raw_data))
(HERE / "progress.avi").write_bytes(animation())
