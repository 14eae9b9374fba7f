// The set-up of threads: what QuilletThread and the library do when threads come and go, and the library's own threads.

#include <atomic>

#include "platform/library_thread.h"
#include "support/com_object.h"
#include "support/leak_check.h"
#include "support/wine_gaps.h"
#include "support/writing.h"

using namespace quillet::test;
using quillet::exitLibraryThread;
using quillet::KernelHandle;
using quillet::startLibraryThread;

namespace {

// No thread of these tests works for long: one that takes so much longer hangs.
constexpr DWORD limitMs = 30000;

/// How COM sees the calling thread, which may be a guest of a multithreaded apartment that another thread keeps.
/// @return APTTYPE_CURRENT when it is in none.
APTTYPE apartment() {
  APTTYPE type = APTTYPE_NA;
  APTTYPEQUALIFIER qualifier;
  CoGetApartmentType(&type, &qualifier);
  return type;
}

// The main thread leaves the apartment that the tests' main function has entered for it, so that only the threads of the
// test keep it.
class Threads : public testing::Test {
 protected:
  void SetUp() override {
    AVIFileExit();
    CoUninitialize();
    ASSERT_EQ(apartment(), APTTYPE_CURRENT);
  }
  void TearDown() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    AVIFileInit();
  }
};

/// Counts how often COM is left on the thread that it is registered on.
class UninitializeSpy : public ComObject<IInitializeSpy> {
 public:
  STDMETHODIMP PreInitialize(DWORD, DWORD) override { return S_OK; }
  STDMETHODIMP PostInitialize(HRESULT result, DWORD, DWORD) override { return result; }
  STDMETHODIMP PreUninitialize(DWORD) override { return ++count, S_OK; }
  STDMETHODIMP PostUninitialize(DWORD) override { return S_OK; }

  std::atomic<int> count = 0;
};

/// Runs `function` on a thread that the library has not started, to its very end.
/// @return how often COM was left on it, its detachment from the library included.
int uninitializationsOf(const std::function<void()>& function) {
  const auto spy = makeCom<UninitializeSpy>();
  const auto watched = [&] {
    ULARGE_INTEGER cookie;
    ASSERT_EQ(CoRegisterInitializeSpy(spy.Get(), &cookie), S_OK);
    function();
  };
  Thread(watched, false);
  return spy->count;
}

TEST_F(Threads, EndUndoesWhatQuilletThreadDid) {
  const struct {
    std::function<void()> work;
    int undone;
  } cases[] = {{[] { exitLibraryThread(); }, 0},  // Which is for others, and returns.
               {[] { EXPECT_TRUE(QuilletThread()); }, 1},
               {[] { QuilletThread(), QuilletThread(); }, 1},  // Both initialise, but only one of each is undone.
               {[] { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }, 0}};
  for (const auto& [work, undone] : cases) {
    bool returned = false;
    EXPECT_EQ(uninitializationsOf([&, &todo = work] { todo(), returned = true; }), undone) << &work - &cases[0].work;
    EXPECT_TRUE(returned);
  }
  EXPECT_EQ(apartment(), APTTYPE_CURRENT);
}

TEST_F(Threads, TemporaryApartmentThreadingChangesTheApartment) {
  const auto thereAndBack = [] {
    QuilletThread();
    TemporaryApartmentThreading(true);
    EXPECT_TRUE(apartment() == APTTYPE_STA || apartment() == APTTYPE_MAINSTA);
    TemporaryApartmentThreading(false);
    EXPECT_NE(apartment(), APTTYPE_CURRENT);
    EXPECT_EQ(apartment() == APTTYPE_MTA, !wine_gap::aviFileExitKeepsApartment);
  };
  EXPECT_EQ(uninitializationsOf(thereAndBack), 3) << "one for each change, one for the end";
  // Unprepared threads are left to the caller.
  for (const bool singleThreaded : {true, false}) {
    const auto unprepared = [=] {
      TemporaryApartmentThreading(singleThreaded);
      EXPECT_NE(apartment(), APTTYPE_CURRENT);
      EXPECT_EQ(apartment() == APTTYPE_MTA, !singleThreaded);
      CoUninitialize();
      EXPECT_EQ(apartment(), APTTYPE_CURRENT);
    };
    EXPECT_EQ(uninitializationsOf(unprepared), 1);
  }
  EXPECT_EQ(apartment(), APTTYPE_CURRENT);
}

void leaveFromDepth(int depth) {
  if (depth == 0) {
    exitLibraryThread();
  } else {
    leaveFromDepth(depth - 1);
  }
  ADD_FAILURE() << "back at depth " << depth;
}

/// What a library thread does.
/// @param gate an event that it waits for before it ends.
void work(void* gate) {
  EXPECT_TRUE(QuilletThread());
  EXPECT_EQ(apartment(), APTTYPE_MTA);
  WaitForSingleObject(gate, limitMs);
}

void workAndLeave(void* gate) {
  work(gate);
  leaveFromDepth(50);
}

/// A library thread, of which the system's handle is held as well: its event comes before its detachment.
struct LibraryThread {
  KernelHandle finished;
  KernelHandle thread;

  LibraryThread(void (*function)(void*), HANDLE gate) {
    unsigned id = 0;
    finished.reset(startLibraryThread(function, 0, gate, nullptr, CREATE_SUSPENDED, &id));
    thread.reset(OpenThread(SYNCHRONIZE | THREAD_SUSPEND_RESUME, FALSE, id));
    ResumeThread(thread.get());
  }
};

TEST_F(Threads, FiveHundredComeAndGoBalanced) {
  const auto batch = [] {
    const KernelHandle gate(CreateEventA(nullptr, TRUE, FALSE, nullptr));
    std::vector<LibraryThread> threads;
    for (int i = 0; i < 25; ++i) {
      threads.emplace_back(i % 2 != 0 ? workAndLeave : work, gate.get());
      EXPECT_EQ(WaitForSingleObject(threads.back().finished.get(), 0), static_cast<DWORD>(WAIT_TIMEOUT));
    }
    SetEvent(gate.get());
    for (const auto& [finished, thread] : threads) {
      ASSERT_EQ(WaitForSingleObject(finished.get(), limitMs), WAIT_OBJECT_0);
      ASSERT_EQ(WaitForSingleObject(thread.get(), limitMs), WAIT_OBJECT_0);
      EXPECT_EQ(WaitForSingleObject(finished.get(), 0), WAIT_OBJECT_0) << "the event stays signalled";
    }
  };
  EXPECT_TRUE(leavesNothingBehind(batch, 0, 0, 20));
  EXPECT_EQ(apartment(), APTTYPE_CURRENT);
}

}  // namespace
