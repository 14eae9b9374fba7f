#include "directshow/source/sg_callback.h"

#include "directshow/source/progress_step.h"

namespace quillet {

HRESULT SGCallback::QueryInterface(REFIID riid, void** object) {
  if (object == nullptr) {
    return E_POINTER;
  }
  if (riid == IID_IUnknown || riid == __uuidof(ISampleGrabberCB)) {
    *object = static_cast<ISampleGrabberCB*>(this);
    return S_OK;
  }
  *object = nullptr;
  return E_NOINTERFACE;
}

HRESULT SGCallback::SampleCB(double sampleTime, IMediaSample* sample) noexcept {
  ++receivedSamples;
  receive(streamTime.of(sampleTime, sample, samplePeriod), sample);
  return S_OK;
}

void SGCallback::beginParse(bool flag, QuilletNotification* sink) {
  sampleCount = 0;
  lastTime = -1.0;
  parseFlag = flag;
  notification = sink;
  parseMode = true;
}

void SGCallback::endParse() {
  stop = true;  // First: nobody wants the samples that are still on their way, as they are after an abort.
  parseMode = false;
}

void SGCallback::countSample(double time) {
  if (stop) {
    return;
  }
  if (time > lastTime) {
    ++sampleCount;
  }
  lastTime = time;
  if (reportStep(notification, 0) != ds_error::success) {
    hold();
  }
}

bool SGCallback::letGo() {
  if (!holding.exchange(false)) {
    return false;
  }
  proceed.set();
  return true;
}

void SGCallback::dismiss() {
  stop = true;
  letGo();
}

void SGCallback::hold() {
  holding = true;
  if (stop && holding.exchange(false)) {
    return;  // Somebody is stopping the graph who has seen no sample held, and so will let none go.
  }
  // Ends: whoever reads on, seeks, stops or destroys the graph lets the sample go first.
  delivered.signalAndWait(proceed);
}

}  // namespace quillet
