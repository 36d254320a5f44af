#pragma once

#include <windows.h>

#include <dxgi.h>
#include <objbase.h>

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

/// The system's own, unless replaced.
extern WindowsApi windowsApi;
