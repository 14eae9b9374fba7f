// Runs a program of the check for a limited time:
//
//   run_limited SECONDS PROGRAM [ARGUMENT...]
//
// The status is the program's; 124 when the time is up. Whatever the program has started ends with it.

#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include <windows.h>

int main(int argc, char**) {
  if (argc < 3) {
    std::fputs("run_limited SECONDS PROGRAM [ARGUMENT...]\n", stderr);
    return 2;
  }
  // The line as it is, behind the own name: nothing has to be quoted anew.
  const wchar_t* line = GetCommandLineW();
  line = std::wcschr(line + 1, *line == L'"' ? L'"' : L' ') + 1;
  wchar_t* command = nullptr;
  const DWORD seconds = std::wcstoul(line, &command, 10);
  command += std::wcsspn(command, L" ");

  SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);  // The program inherits it: nobody would answer a box.
  const HANDLE job = CreateJobObjectW(nullptr, nullptr);
  STARTUPINFOW startup = {};
  startup.cb = sizeof startup;
  PROCESS_INFORMATION program;
  if (!CreateProcessW(nullptr, command, nullptr, nullptr, TRUE, CREATE_SUSPENDED, nullptr, nullptr, &startup,
                      &program)) {
    std::fprintf(stderr, "cannot run %ls: error %lu\n", command, GetLastError());
    return 125;
  }
  AssignProcessToJobObject(job, program.hProcess);
  ResumeThread(program.hThread);
  DWORD status = 124;
  constexpr DWORD msPerSecond = 1000;
  if (WaitForSingleObject(program.hProcess, seconds * msPerSecond) == WAIT_OBJECT_0) {
    GetExitCodeProcess(program.hProcess, &status);
  }
  TerminateJobObject(job, status);
  return static_cast<int>(status);
}
