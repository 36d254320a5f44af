#include <windows.h>

namespace {

// The program ends by TerminateProcess() alone, drivers have called exit(). That this is reached
// keeps a torn report from ending with the code of a whole one, and other drivers from crashing
// when they are detached. Other threads are gone by now, with whatever they held, so the line goes
// past our streams.
void NTAPI onProcessEnd(void*) {
  constexpr char kLine[] = "a driver ended the program\r\n";
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), kLine, sizeof kLine - 1, &written, nullptr);
  TerminateProcess(GetCurrentProcess(), 4);
}

// A fiber's data is cleaned up before the libraries are told of the end; one thread will do.
// https://learn.microsoft.com/windows/win32/api/fibersapi/nf-fibersapi-flsalloc
[[maybe_unused]] BOOL watched = FlsSetValue(FlsAlloc(onProcessEnd), GetModuleHandleA(nullptr));

}  // namespace
