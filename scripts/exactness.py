#!/usr/bin/env python3
"""What scripts/exactness.sh runs: exactness.py BUILD-FOLDER WORK-FOLDER [NAME...]. Prints the table."""

import array
import bisect
import collections
import pathlib
import re
import subprocess
import sys

BUILD, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
ROOT = pathlib.Path(__file__).resolve().parent.parent
WIDTH, HEIGHT = 160, 120
THUMB = 40, 30  # Frames are compared at this size.

# Each frame has its number in black and white below a moving picture. The sound is noise, of which no two pieces are
# alike; of low frequencies, since encoders replace other noise by any that is as loud.
PICTURES = (f"testsrc2=size={WIDTH}x{HEIGHT}:rate=25:duration=4,"
            f"geq=lum='if(gte(Y,{HEIGHT - 16}),16+219*mod(floor(N/pow(2,floor(X/20))),2),lum(X,Y))'"
            f":cb='if(gte(Y,{HEIGHT - 16}),128,cb(X,Y))':cr='if(gte(Y,{HEIGHT - 16}),128,cr(X,Y))'")
INPUTS = {
    "v": PICTURES,
    "late": PICTURES + ",setpts=PTS+0.2/TB",
    "a": "anoisesrc=sample_rate=44100:seed=7:duration=4,lowpass=f=1500,lowpass=f=1500",
}
SOUGHT_FRAMES = 37, 77
SOUGHT_SAMPLES = 44100, 150001

# Name: arguments of ffmpeg, with defaults wherever they leave something open. `v` and `a` stand for the inputs.
FILES = {
    "raw.avi": "v a -c:v rawvideo -pix_fmt bgr24 -c:a pcm_s16le",
    "cinepak.avi": "v -c:v cinepak",
    "mjpeg.avi": "v a -c:v mjpeg -c:a libmp3lame",
    "mpeg4.avi": "v a -c:v mpeg4 -c:a adpcm_ima_wav -ac 2",
    "mpeg4_b.avi": "v -c:v mpeg4 -bf 2",
    "h264.mp4": "v a -c:v libx264 -c:a aac",
    "h264_no_b.mp4": "v a -c:v libx264 -bf 0 -c:a aac",
    "h264_late.mp4": "late -c:v libx264 -bf 0",
    "mpeg4.mov": "v a -c:v mpeg4 -c:a pcm_s16le",
    "h264.mkv": "v a -c:v libx264 -c:a flac",
    "vp8.webm": "v a -c:v libvpx -c:a libvorbis",
    "vp9.webm": "v a -c:v libvpx-vp9 -c:a libopus",
    "mpeg2.mpg": "v a -c:v mpeg2video -c:a mp2",
    "h264.ts": "v a -c:v libx264 -c:a aac",
    "wmv.asf": "v a -c:v wmv2 -c:a wmav2",
    "pcm.wav": "a",
    "ima.wav": "a -c:a adpcm_ima_wav",
    "ms_mono.avi": "a -c:a adpcm_ms -ac 1",
    "ms_stereo.avi": "a -c:a adpcm_ms -ac 2",
    "mulaw.wav": "a -c:a pcm_mulaw",
    "sound.mp3": "a -c:a libmp3lame",
    "sound.flac": "a",
    "sound.ogg": "a -c:a libvorbis",
    "sound.m4a": "a -c:a aac",
}


def ffmpeg(*arguments, given=None):
    return subprocess.run(["ffmpeg", "-v", "error", "-y", *map(str, arguments)], input=given, check=True,
                          stdin=subprocess.DEVNULL if given is None else None, stdout=subprocess.PIPE).stdout


def client(*arguments):
    """Runs quillet; returns what it printed, errors last, and whether it succeeded."""
    run = subprocess.run([ROOT / "scripts/wine-run.sh", "-t", "60", BUILD / "wineprefix", BUILD / "bin/quillet.exe",
                          *map(str, arguments)], capture_output=True)
    return (run.stdout + run.stderr).decode("utf-8", "replace").replace("\r", ""), run.returncode == 0


def windows(path):
    return f"Z:{path}"


def make(name):
    path = WORK / name
    if not path.exists():
        words = FILES[name].split()
        sources = [argument for word in words if word in INPUTS for argument in ("-f", "lavfi", "-i", INPUTS[word])]
        ffmpeg("-copyts", *sources, *[word for word in words if word not in INPUTS], path)
    return path


def thumbs(*source, given=None):
    """The frames of a source as small grey pictures."""
    size = THUMB[0] * THUMB[1]
    data = ffmpeg(*source, "-vf", f"scale={THUMB[0]}:{THUMB[1]}:flags=area,format=gray", "-fps_mode", "passthrough",
                  "-f", "rawvideo", "-", given=given)
    return [data[at:at + size] for at in range(0, len(data), size)]


def times_of(path, stream, *interval):
    """When ffmpeg's frames of a stream begin, in seconds."""
    def probe(entries, *arguments):
        run = subprocess.run(["ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries", entries, *arguments, path],
                             check=True, stdout=subprocess.PIPE)
        return [float(line.strip(b",")) for line in run.stdout.split() if b"N/A" not in line]

    # The clocks of these began before the film.
    start = probe("format=start_time")[0] if path.suffix in (".mpg", ".ts", ".mp3") else 0
    return [time - start for time in probe("frame=best_effort_timestamp_time", "-select_streams", stream, *interval)]


def nearest(picture, frames):
    """The number of the frame that looks most like a picture."""
    return min(range(len(frames)), key=lambda n: sum(abs(a - b) for a, b in zip(picture, frames[n])))


def frames_of(path, backend, wanted, frames):
    """Which of ffmpeg's frames the client gives for each number, in one run; and what it says besides."""
    folder = WORK / "frames"
    folder.mkdir(exist_ok=True)
    for old in folder.iterdir():
        old.unlink()
    text, _ = client("frame", windows(path), *wanted, "-o", windows(folder / "f.bmp"), "--backend", backend)
    images = {number: folder / (f"f-{number}.bmp" if len(wanted) > 1 else "f.bmp") for number in wanted}
    written = [number for number in wanted if images[number].exists()]
    if not written:
        return {}, text
    pictures = thumbs("-f", "image2pipe", "-c:v", "bmp", "-i", "-",
                      given=b"".join(images[number].read_bytes() for number in written))
    return {number: nearest(picture, frames) for number, picture in zip(written, pictures)}, text


def samples_of(path, backend, first, last):
    """The first channel of a run of samples, None when there is none."""
    wave = WORK / "run.wav"
    wave.unlink(missing_ok=True)
    _, is_read = client("samples", windows(path), first, last, "-o", windows(wave), "--backend", backend)
    return channel_of(wave) if is_read else None


def channel_of(path):
    return array.array("h", ffmpeg("-i", path, "-map", "0:a:0", "-af", "pan=mono|c0=c0", "-f", "s16le", "-"))


def difference(run, whole, at):
    return max((abs(a - b) for a, b in zip(run, whole[at:at + len(run)])), default=0)


def position(run, whole, expected, reach=6000):
    """Where a piece of a sound lies in it; None when it is not there."""
    def nearest_of(first, end, step):
        return min(range(max(0, first), min(len(whole) - len(run), end) + 1),
                   key=lambda at: sum(abs(a - b) for a, b in zip(run[::step], whole[at:at + len(run):step])))

    rough = nearest_of(min(expected, len(whole) - len(run)) - reach, expected + reach, 7)
    best = nearest_of(rough - 9, rough + 9, 1)
    return best if sum(abs(a - b) for a, b in zip(run, whole[best:])) < 1500 * len(run) else None


def silence_of(sound):
    """How many samples at the end are silent."""
    return next((count for count, value in enumerate(reversed(sound)) if value != 0), len(sound))


def name_of(shift):
    return "N" if shift == 0 else f"N {shift:+d}"


def summary(given):
    """How far what was given, by number, lies behind what was to be given, the most frequent first."""
    counts = collections.Counter(found - wanted for found, wanted in given.values()).most_common()
    if len(counts) == 1:
        return name_of(counts[0][0])
    if len(counts) == len(given):
        return ", ".join(name_of(found - wanted) for found, wanted in given.values())
    text = ", ".join(f"{name_of(shift)} ({count} times)" for shift, count in counts[:3])
    return text + (", ..." if len(counts) > 3 else "")


def shown(count, truth):
    return str(count) if count == truth else f"{count} of {truth}"


def video_row(path, backend, info):
    found = re.search(r"video 0: .*?(\d+) frames, ([\d.]+) frames/s", info)
    if found is None:
        return None
    length = int(found[1])
    frames = thumbs("-i", path)
    numbers = [round(time * float(found[2])) for time in times_of(path, "v:0")]

    def compared(given):
        """Number: the frame given, and the one to be given, which has that number, or is the last before it."""
        return {number: (frame, max(bisect.bisect_right(numbers, number) - 1, 0)) for number, frame in given.items()}

    given, text = frames_of(path, backend, range(length), frames)
    codes = sorted(set(re.findall(r"code (\d+)", text)), key=int)
    missing = f", {length - len(given)} missing" if len(given) < length else ""
    sought = {}
    for number in SOUGHT_FRAMES:
        sought.update(frames_of(path, backend, [number], frames)[0])
    return [shown(length, numbers[-1] + 1), found[2], summary(compared(given)) + missing, summary(compared(sought)),
            ", ".join(codes)]


def audio_row(path, backend, info):
    found = re.search(r"audio 0: .*?(\d+) samples, (\d+) samples/s", info)
    if found is None:
        return None
    length = int(found[1])
    whole = channel_of(path)
    times = times_of(path, "a:0", "-read_intervals", "%+#20")
    start = round(times[0] * int(found[2])) if times else 0
    truth = start + len(whole)
    run = samples_of(path, backend, 0, length - 1)
    if run is None:
        return [shown(length, truth), "cannot be read", "", ""]
    at = position(run[20000:20500], whole, 20000)
    if at is None:
        return [shown(length, truth), "other sound", "", ""]
    shift = at - 20000
    first, last = max(1000, -shift), min(len(run), len(whole) - shift) - 1000
    differs = max(abs(a - b) for a, b in zip(run[first:last], whole[first + shift:last + shift]))
    silent = silence_of(run) - silence_of(whole)
    sought = {}
    for number in SOUGHT_SAMPLES:
        piece = samples_of(path, backend, number, number + 499)
        at = position(piece, whole, number - start) if piece is not None else None
        if at is not None:
            sought[number] = start + at, number
    return [shown(length, truth), name_of(start + shift) + (f", the last {silent} silent" if silent > 0 else ""),
            str(differs), summary(sought)]


def failure(info, kind):
    """What the client says of a stream that does not open."""
    found = re.search(rf"^ *(?:{'video' if kind == 'v' else 'audio'}|quillet)\b.*\(code (\d+),", info, re.MULTILINE)
    return f"does not open: {found[1]}" if found else "does not open"


def table(title, heads, rows):
    print(f"\n{title}\n")
    for row in [heads, ["---"] * len(heads), *rows]:
        print("| " + " | ".join(row) + " |")


def main():
    video_rows, audio_rows = [], []
    for name in sys.argv[3:] or FILES:
        path = make(name)
        for backend in ("vfw", "ds"):
            info, _ = client("info", windows(path), "--backend", backend)
            arguments = FILES[name].split()
            for kind, rows, row_of in (("v", video_rows, video_row), ("a", audio_rows, audio_row)):
                if kind in arguments or kind == "v" and "late" in arguments:
                    row = row_of(path, backend, info)
                    cells = row or [failure(info, kind)] + [""] * (4 if kind == "v" else 3)
                    rows.append([f"`{name}`", backend, *cells])
                    print(rows[-1], file=sys.stderr)
    wine, encoder = (subprocess.run(command, capture_output=True, text=True).stdout.split()
                     for command in (["wine", "--version"], ["ffmpeg", "-version"]))
    print(f"Measured with {wine[0]}, {'32' if 'i686' in BUILD.name else '64'} bits; files of ffmpeg {encoder[2]}.")
    gives = "number N gives, in order"
    table("Video:", ["file", "backend", "frames", "frames/s", gives, "after a seek", "codes"], video_rows)
    table("Audio:", ["file", "backend", "samples", gives, "differing by", "after a seek"], audio_rows)
    print()


main()
