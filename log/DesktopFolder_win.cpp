#include <windows.h>
// The folder identifiers need the types above.
#include <knownfolders.h>
#include <shlobj.h>

#include "LogPort.h"

boost::filesystem::path logport::desktopFolder() {
  PWSTR text = nullptr;
  boost::filesystem::path folder;
  if (SUCCEEDED(SHGetKnownFolderPath(FOLDERID_Desktop, 0, nullptr, &text))) folder = text;
  CoTaskMemFree(text);
  return folder;
}
