'use strict';
// Run by tests/bindings_test.sh with the folder of the media, in a folder with what the command-line client has read.

const assert = require('assert');
const fs = require('fs');
const { AudioSource, Backend, RawSource, VideoSource, Writer, audioFormat, countStreams, videoFormat } = require('..');

const media = process.argv[2];
const cinepak = `${media}/cinepak.avi`;
const throws = (operation, code, text) => assert.throws(operation, { name: 'QuilletError', code, text });

function reads(backend, name, beyondRange) {
  const bmp = fs.readFileSync(`${name}.bmp`);
  const video = VideoSource.open(cinepak, { backend });
  const { width, height, data } = video.frame(42, { pixels: 'bgr' });
  const rows = Array.from({ length: height }, (_, row) => data.subarray(row * width * 3, (row + 1) * width * 3));
  assert.deepStrictEqual(Buffer.concat(rows.reverse()), bmp.subarray(-data.length));
  assert.deepStrictEqual([video.rate, video.timeOf(50 - 1), video.sampleAt(40), [...video].length], [25, 1960, 1, 50]);
  throws(() => video.frame(video.length), beyondRange, 'Parameter out of range');
  video.close();
  throws(() => video.frame(0), -1, 'No object has this handle');

  const audio = AudioSource.open(`${media}/ms.avi`, { backend });
  assert.deepStrictEqual(audio.samples(10000, 40001), fs.readFileSync(`${name}.wav`).subarray(-40001 * 4));
  audio.close();

  const raw = RawSource.open(cinepak, { backend });
  raw[Symbol.iterator]().next(); // An iteration that is dropped.
  const samples = [...raw];
  assert.deepStrictEqual(samples.map(({ number }) => number), [...Array(50).keys()]);
  raw.close();
  return samples.map(({ data: { length } }) => length);
}

async function stops() {
  const video = await VideoSource.openAsync(`${media}/ds_h264.mp4`, { backend: Backend.DIRECTSHOW });
  const going = video.frameAsync(119, { progress: (phase) => phase === 2 });
  assert.throws(() => video.frame(1), /still going on/);
  await assert.rejects(going, { name: 'QuilletError', code: 74 });
  await assert.rejects(video.frameAsync(60, { progress: () => assert.fail('mine') }), /mine/);
  assert.deepStrictEqual((await video.frameAsync(119)).data, video.frame(119).data);
  video.close();
}

function writes() {
  const source = { backend: Backend.VIDEO_FOR_WINDOWS };
  const video = VideoSource.open(`${media}/copy.avi`, source);
  const audio = AudioSource.open(`${media}/copy.avi`, source);
  const file = Writer.create('out.avi', { video: videoFormat(64, 48, 25), audio: audioFormat(22050), ...source });
  [...video].forEach(({ data }) => file.writePicture(data));
  file.writeSamples(audio.samples(0, audio.length)); // Wine's AVIFile writes no more than one piece of audio.
  file.finish();
}

(async () => {
  const packets = fs.readFileSync(`${media}/cinepak.txt`, 'utf8').trim().split('\n');
  assert.deepStrictEqual(reads(Backend.VIDEO_FOR_WINDOWS, 'vfw', 8), packets.map((line) => Number(line.split(',')[2])));
  reads(Backend.DIRECTSHOW, 'ds', 20);
  assert.deepStrictEqual(countStreams(cinepak), { video: 1, audio: 0 });
  throws(() => countStreams('nowhere.avi'), 3, 'Could not open the source file');
  throws(() => VideoSource.open('nowhere.avi'), 4, 'Could not open the source file');
  throws(() => VideoSource.open(`${media}/cinepak.txt`), 31, 'Cannot connect two filters (no proper stream or decoder)');
  await stops();
  writes();
})().catch((error) => {
  console.error(error);
  process.exitCode = 1;
});
