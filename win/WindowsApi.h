#pragma once

#include <windows.h>

#include <dxgi.h>
#include <objbase.h>

#include <exception>

#include "log/Diagnostic.h"

/// Every system call of this folder, and the seam at which tests put their own.
/// Members have the names and types of the functions they stand for.
struct WindowsApi {
  decltype(&::CreateDXGIFactory) CreateDXGIFactory;
  decltype(&::CoInitializeEx) CoInitializeEx;
  decltype(&::CoCreateInstance) CoCreateInstance;
  decltype(&::CoSetProxyBlanket) CoSetProxyBlanket;
  decltype(&::CoUninitialize) CoUninitialize;
  decltype(&::GlobalMemoryStatusEx) GlobalMemoryStatusEx;
};

/// The system's own, unless a test replaced them before the readers run. The readers call them on
/// the thread that asks for the GPUs, and initialise COM for it where they need it.
extern WindowsApi windowsApi;

/// Runs a reader's work. Any exception ends here: it is logged as "<operation> exception", with
/// ": " and its text when it has one (under textLine, else under plainLine), and abandon takes what
/// the work has left open. Never throws, unless abandon does.
template <class Work, class Abandon>
void GuardedRead(const char* operation, int textLine, int plainLine, Work work, Abandon abandon) {
  try {
    work();
    return;
  } catch (const std::exception& exception) {
    AdapterDiagnostic(textLine)(operation, " exception: ", exception.what());
  } catch (...) {
    AdapterDiagnostic(plainLine)(operation, " exception");
  }
  abandon();
}
