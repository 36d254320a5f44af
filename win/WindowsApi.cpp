#include "WindowsApi.h"

WindowsApi windowsApi = {&::CreateDXGIFactory, &::CoInitializeEx, &::CoCreateInstance,
                         &::CoSetProxyBlanket, &::CoUninitialize, &::GlobalMemoryStatusEx};
