// The library as a module: what happens when it, and each thread, is attached and detached, and the per-thread set-up
// of COM and AVIFile that the detach undoes.

#include <windows.h>

#include <objbase.h>
#include <vfw.h>

#include <quillet/thread.h>
#include <quillet/version.h>

#include "api/library.h"
#include "platform/module.h"

namespace {

// Nonzero on a thread that has called QuilletThread. Kept for good: the system frees it.
DWORD preparedSlot = TLS_OUT_OF_INDEXES;

bool isThreadPrepared() {
  return TlsGetValue(preparedSlot) != nullptr;
}

BOOL markThreadPrepared(bool prepared) {
  // Each thread puts in and takes out itself only.
  const void* before = prepared ? nullptr : NtCurrentTeb();
  quillet::firstPreparedThread.compare_exchange_strong(before, prepared ? NtCurrentTeb() : nullptr);
  return TlsSetValue(preparedSlot, prepared ? reinterpret_cast<void*>(1) : nullptr);
}

void detachThread() {
  if (isThreadPrepared()) {
    AVIFileExit();
    CoUninitialize();
    markThreadPrepared(false);
  }
}

}  // namespace

constinit std::atomic<const void*> quillet::firstPreparedThread = nullptr;

void quillet::prepareOtherThread() {
  if (!isThreadPrepared()) {
    QuilletThread();
  }
}

const char* QuilletVersion() {
  return QUILLET_VERSION;
}

BOOL QuilletThread() {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  AVIFileInit();
  return markThreadPrepared(true);
}

void TemporaryApartmentThreading(bool singleThreaded) {
  const bool prepared = isThreadPrepared();
  if (prepared) {
    AVIFileExit();
    CoUninitialize();
  }
  // Without QuilletThread this initialisation is one more than the library undoes: it is the caller's.
  if (singleThreaded) {
    CoInitialize(nullptr);
  } else {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  }
  if (prepared) {
    AVIFileInit();
  }
}

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  switch (reason) {
    case DLL_PROCESS_ATTACH:
      quillet::setModuleInstance(module);
      preparedSlot = TlsAlloc();
      markThreadPrepared(false);
      break;
    case DLL_THREAD_ATTACH:
      markThreadPrepared(false);
      break;
    case DLL_THREAD_DETACH:
    case DLL_PROCESS_DETACH:
      detachThread();
      break;
    default:
      break;
  }
  return TRUE;
}
