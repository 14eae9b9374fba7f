'use strict';
// Exact video frames and runs of audio samples of media files, by number; AVI files written. README.md tells how.

const fs = require('fs');
const path = require('path');
const util = require('util');
const koffi = require('koffi');
const declarations = require('./declarations');

const { Backend, Kind, Pixels, Rows } = declarations.enums;

const FRAME_UNITS = 10_000_000; // Of a frame's duration, in a second.
const PCM_TAG = 1;
const BEYOND_DATA = 12; // DirectShow's code at the end of a stream.
const KINDS = { video: Kind.VIDEO, audio: Kind.AUDIO };
const RAW_KINDS = { video: Kind.RAW_VIDEO, audio: Kind.RAW_AUDIO };
const LAYOUTS = {
  rgb: [Pixels.RGB24, 3], bgr: [Pixels.BGR24, 3], rgba: [Pixels.RGBA32, 4], bgra: [Pixels.BGRA32, 4],
};

declarations.handles.forEach((name) => koffi.opaque(name));
const Progress = koffi.pointer(koffi.proto(declarations.callbacks[0]));
Object.entries(declarations.structs).forEach(([name, members]) => koffi.struct(name, members));

// The functions of the DLL, without their prefix. It is the file that QUILLET_DLL names, the one beside this package, or
// the one that Windows finds.
const beside = path.join(__dirname, 'quillet.dll');
const dll = koffi.load(process.env.QUILLET_DLL || (fs.existsSync(beside) ? beside : 'quillet.dll'));
const library = {};
const hasFailed = {}; // Whether a result of each tells of a failure.
for (const prototype of declarations.functions) {
  const [, result, name] = prototype.match(/^(.*?) quillet_(\w+)\(/);
  library[name] = dll.func(prototype);
  hasFailed[name] = result === 'int32_t' ? (status) => status === 0 : (number) => number < 0;
}

/** What the library could not do: its code and text, and whether the object has become useless. */
class QuilletError extends Error {
  constructor(code, text, fatal = true, usesDirectShow = false) {
    super(`${text} (code ${code})`);
    this.name = 'QuilletError';
    Object.assign(this, { code, text, fatal, usesDirectShow });
  }
}

/** The value for `key` in a table of what can be chosen. */
function chosen(table, key) {
  if (!Object.hasOwnProperty.call(table, key)) {
    throw new RangeError(`${key} is none of ${Object.keys(table).join(', ')}`);
  }
  return table[key];
}

/** A record without values, for the library to fill in. */
function blank(name) {
  return Object.fromEntries(Object.entries(declarations.structs[name])
    .map(([member, type]) => [member, type.endsWith('*') ? null : 0]));
}

/** A copy of what the library points at. */
function bytesAt(pointer, count) {
  return Buffer.from(count > 0 ? koffi.decode(pointer, 'uint8_t', count) : []);
}

/** A progress function, as the library can call it on any thread. What the function throws stops the operation. */
class Reporter {
  pointer = null;
  #thrown = [];

  constructor(progress) {
    if (progress) {
      this.pointer = koffi.register((user, phase) => {
        try {
          return progress(phase) ? 1 : 0;
        } catch (error) {
          this.#thrown.push(error);
          return 1;
        }
      }, Progress);
    }
  }

  rethrow() {
    if (this.#thrown.length > 0) {
      throw this.#thrown[0];
    }
  }

  end() {
    if (this.pointer !== null) {
      koffi.unregister(this.pointer);
    }
  }
}

/** What all objects of the library have in common: a handle, errors, warnings, their end. */
class Handled {
  /** The code and text when the last operation did other than it was asked, for example found another frame. */
  warning = null;
  _handle = null;
  _isBusy = false;

  get usesDirectShow() {
    return library.uses_directshow(this._handle) !== 0;
  }

  /** Lets go of the file. Every operation then fails. */
  close() {
    this._requireIdle();
    this._close(this._handle);
  }

  [Symbol.dispose ?? Symbol.for('dispose')]() {
    this.close();
  }

  /** Takes over what was opened, and closes it when it is not open. */
  _own(handle) {
    if (handle === null) {
      throw new Error('the library has no memory for another object');
    }
    this._handle = handle;
    try {
      this._check(!library.is_open(handle));
    } catch (error) {
      this.close();
      throw error;
    }
    return this;
  }

  _call(name, ...args) {
    this._requireIdle();
    const result = library[name](this._handle, ...args);
    this._check(hasFailed[name](result));
    return result;
  }

  _check(failed) {
    const code = library.error(this._handle);
    const text = failed || code !== 0 ? library.error_text(this._handle) : '';
    this.warning = failed || code === 0 ? null : { code, text };
    if (failed) {
      throw new QuilletError(code, text, library.error_is_fatal(this._handle) !== 0, this.usesDirectShow);
    }
  }

  _requireIdle() {
    if (this._isBusy) {
      throw new Error('an operation of this object is still going on');
    }
  }
}

/** What all sources have. Samples are numbered from 0: frames, of video. Times are in milliseconds. */
class Source extends Handled {
  #format = null;

  /** Opens a stream: `backend`, `stream` (its number among those of its kind), and of a RawSource its `kind`. */
  static open(name, options = {}) {
    return new this()._own(library.stream_open(...this._openArguments(name, options), null, null));
  }

  /** The same on another thread, with `progress`: see README.md. */
  static async openAsync(name, options = {}) {
    const source = new this();
    const reporter = new Reporter(options.progress);
    try {
      const open = util.promisify(library.stream_open.async);
      const handle = await open(...this._openArguments(name, options), reporter.pointer, null);
      try {
        reporter.rethrow();
      } catch (error) {
        library.stream_close(handle);
        throw error;
      }
      source._own(handle);
      library.stream_set_progress(handle, null, null);
      return source;
    } finally {
      reporter.end();
    }
  }

  static _openArguments(name, { backend = Backend.AUTOMATIC, stream = 0, kind }) {
    return [name, this._kind(kind), backend, stream];
  }

  get length() {
    return this._call('stream_length');
  }

  get duration() {
    return this._call('stream_duration');
  }

  /** What the stream delivers: a format as Writer.create takes it. */
  get format() {
    if (this.#format === null) {
      const kind = library.stream_kind(this._handle);
      const name = kind === Kind.VIDEO || kind === Kind.RAW_VIDEO ? 'video_format' : 'audio_format';
      const format = blank(`quillet_${name}`);
      this._call(`stream_${name}`, format);
      this.#format = { ...format, header: bytesAt(format.header, format.header_bytes) };
    }
    return this.#format;
  }

  timeOf(number) {
    return this._call('stream_time_of', [number]);
  }

  sampleAt(time) {
    return this._call('stream_sample_at', [time]);
  }

  _close(handle) {
    library.stream_close(handle);
  }

  /** An operation on a thread of its own. */
  async _callAsync(progress, name, ...args) {
    this._requireIdle();
    this._isBusy = true;
    const reporter = new Reporter(progress);
    try {
      library.stream_set_progress(this._handle, reporter.pointer, null);
      const result = await util.promisify(library[name].async)(this._handle, ...args);
      reporter.rethrow();
      this._check(hasFailed[name](result));
      return result;
    } finally {
      library.stream_set_progress(this._handle, null, null);
      reporter.end();
      this._isBusy = false;
    }
  }
}

/** Frames by number. */
class VideoSource extends Source {
  static _kind() {
    return Kind.VIDEO;
  }

  /** Frames a second. */
  get rate() {
    return this._call('video_rate');
  }

  /** The number of the frame that the stream has for a number: this one, or where it has none the nearest. */
  find(number) {
    return this._call('video_find', number);
  }

  /** Bounds the bytes of decoded frames that are kept for steps back; 0 to keep none, negative for the default. */
  set frameBudget(bytes) {
    this._call('video_set_frame_budget', bytes);
  }

  /** A frame, the top row first: number, width, height and, in the layout `pixels` (rgba, bgra, rgb, bgr), data. */
  frame(number, { pixels } = {}) {
    const { picture, args } = this.#prepare(number, pixels);
    this._call('video_read', ...args);
    return { number: args[0][0], ...picture };
  }

  async frameAsync(number, { pixels, progress } = {}) {
    const { picture, args } = this.#prepare(number, pixels);
    await this._callAsync(progress, 'video_read', ...args);
    return { number: args[0][0], ...picture };
  }

  * [Symbol.iterator]() {
    for (let number = 0, { length } = this; number < length; ++number) {
      yield this.frame(number);
    }
  }

  #prepare(number, pixels = 'rgba') {
    const [layout, channels] = chosen(LAYOUTS, pixels);
    const { width, height } = this.format;
    const data = Buffer.allocUnsafeSlow(width * height * channels);
    return {
      picture: { width, height, data },
      args: [[number], layout, Rows.TOP_DOWN, data, width * channels, data.length],
    };
  }
}

/** Samples by number. */
class AudioSource extends Source {
  static _kind() {
    return Kind.AUDIO;
  }

  /** Samples a second. */
  get rate() {
    return this.format.sample_rate;
  }

  /** A run of samples as bytes, in the stream's format; its buffer is the run's own. */
  samples(first, count) {
    const data = this.#prepare(count);
    this._call('audio_read', first, count, data, data.length);
    return data;
  }

  async samplesAsync(first, count, { progress } = {}) {
    const data = this.#prepare(count);
    await this._callAsync(progress, 'audio_read', first, count, data, data.length);
    return data;
  }

  /** The whole stream, `size` samples at a time. */
  * blocks(size = 65536) {
    for (let first = 0, { length } = this; first < length; first += size) {
      yield this.samples(first, Math.min(size, length - first));
    }
  }

  #prepare(count) {
    return Buffer.allocUnsafeSlow(Math.max(count, 0) * this.format.block_bytes);
  }
}

/** A stream as the file stores it. */
class RawSource extends Source {
  static _kind(kind = 'video') {
    return chosen(RAW_KINDS, kind);
  }

  /** The number of the first key sample. */
  get firstKey() {
    return this._call('raw_first_key');
  }

  /**
   * The sample that covers a number, or with `key` the key sample at or before it: number and count of what it covers,
   * data, key, and time, which is null when it carries none.
   */
  read(number, { key = false } = {}) {
    return this.#sample('raw_read', { number, key: key ? 1 : 0 });
  }

  /** Each sample once, in stored order. Each iteration begins anew; read() in between would make it begin again. */
  * [Symbol.iterator]() {
    yield* this.usesDirectShow ? this.#inOrder() : this.#byNumber();
  }

  * #inOrder() {
    library.raw_read(this._handle, blank('quillet_raw_sample')); // Goes back to the start.
    for (;;) {
      let sample;
      try {
        sample = this.#sample('raw_next', {});
      } catch (error) {
        if (error.code === BEYOND_DATA) {
          return;
        }
        throw error;
      }
      yield sample;
    }
  }

  * #byNumber() {
    const first = library.raw_first_key(this._handle); // What lies before cannot be read.
    for (let number = Math.max(first, 0), { length } = this; number < length;) {
      const sample = this.read(number);
      yield sample;
      number = Math.max(number, sample.number + sample.count - 1) + 1;
    }
  }

  #sample(name, asked) {
    const record = { ...blank('quillet_raw_sample'), ...asked };
    this._call(name, record);
    const { number, count, bytes, time, key, data } = record;
    return { data: bytesAt(data, bytes), number, count, key: key !== 0, time: time < 0 ? null : time };
  }
}

/** The format of frames of 24-bit RGB, `rate` a second. */
function videoFormat(width, height, rate) {
  return {
    ...blank('quillet_video_format'), width, height, bits: 24, frame_duration: Math.round(FRAME_UNITS / rate),
  };
}

/** The format of samples of PCM. */
function audioFormat(sampleRate, channels = 1, bits = 16) {
  return {
    ...blank('quillet_audio_format'), tag: PCM_TAG, channels, sample_rate: sampleRate, bits,
    block_bytes: channels * Math.ceil(bits / 8),
  };
}

/** An AVI file that is written. */
class Writer extends Handled {
  #next = { [Kind.VIDEO]: 0, [Kind.AUDIO]: 0 };
  #video = null;
  #audio = null;
  #isStarted = false;

  /**
   * Creates a file: the formats `video` and `audio` of what will be written, whether the library is to compress it
   * (`compressVideo`, `compressAudio`), and `backend`.
   */
  static create(name, { video = null, audio = null, compressVideo = false, compressAudio = false,
    backend = Backend.AUTOMATIC } = {}) {
    const writer = new this();
    writer.#video = video;
    writer.#audio = audio;
    return writer._own(library.file_open(name, backend, video, Number(compressVideo), audio, Number(compressAudio)));
  }

  /** Sets the compressor of 'video' (codec: a FOURCC) or 'audio' (format: its target), over Video for Windows. */
  compress(kind, { codec = '\0\0\0\0', keyEvery = 0, quality = -1, format = null } = {}) {
    this._call('file_compress', chosen(KINDS, kind),
      { codec: Buffer.from(codec).readUInt32LE(), key_every: keyEvery, quality, audio: format });
  }

  /** Lets the user choose the compressor of 'video' or 'audio', over either backend. */
  chooseCompressor(kind) {
    this._call('file_choose_compressor', chosen(KINDS, kind), null);
  }

  /** Shows the user the compressor's settings. */
  configureCompressor(kind) {
    this._call('file_configure_compressor', chosen(KINDS, kind), null);
  }

  /** Writes a frame of a file of 24 or 32-bit RGB, laid out as VideoSource.frame() gives its data. */
  writePicture(data, { pixels = 'rgba', number } = {}) {
    const [layout, channels] = chosen(LAYOUTS, pixels);
    const stride = (this.#video?.width ?? 0) * channels;
    this.#write(Kind.VIDEO, number, 1, (at) => ['file_write_picture', at, layout, Rows.TOP_DOWN, data, stride,
      data.byteLength]);
  }

  /** Writes a frame as the file's format has it, compressed or not. */
  writeFrame(data, { number, key = true } = {}) {
    this.#write(Kind.VIDEO, number, 1, (at) => ['file_write', Kind.VIDEO, at, data, 1, data.byteLength, Number(key)]);
  }

  /** Writes a run of samples as bytes, or as a typed array. `count` may be left out of PCM. */
  writeSamples(data, { number, count = this.#countIn(data), key = true } = {}) {
    this.#write(Kind.AUDIO, number, count,
      (at) => ['file_write', Kind.AUDIO, at, data, count, data.byteLength, Number(key)]);
  }

  /** Completes the file, and lets go of it. */
  finish() {
    this.#start();
    this._call('file_finish');
    this.close();
  }

  _close(handle) {
    library.file_close(handle);
  }

  #countIn(data) {
    if (this.#audio?.tag !== PCM_TAG) {
      throw new TypeError('compressed samples are written with their count');
    }
    return data.byteLength / this.#audio.block_bytes;
  }

  #start() {
    if (!this.#isStarted) {
      this._call('file_start');
      this.#isStarted = true;
    }
  }

  #write(kind, number = this.#next[kind], count, call) {
    this.#start();
    this._call(...call(number));
    this.#next[kind] = number + count;
  }
}

/** How many streams of each kind a file has. */
function countStreams(name, { mayUseGraph = true } = {}) {
  const video = [0];
  const audio = [0];
  const code = library.count_streams(name, Number(mayUseGraph), video, audio);
  if (code !== 0) {
    throw new QuilletError(code, library.count_streams_text(code));
  }
  return { video: video[0], audio: audio[0] };
}

module.exports = {
  AudioSource, Backend, QuilletError, RawSource, VideoSource, Writer, audioFormat, countStreams, videoFormat,
  version: library.version(),
};
