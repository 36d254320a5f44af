#include "nkutil/Spawn_win.h"

#include <windows.h>

#include <map>
#include <string>
#include <vector>

#include "nkutil/Calls.h"
#include "nkutil/CommandLine.h"
#include "nkutil/Text_win.h"

namespace nkutil {

namespace {

/// The longest command line that CreateProcessW takes.
constexpr std::size_t kLongestLine = 32766;
/// Paths from this length on need the prefix that switches the old limit off.
constexpr std::size_t kLongPath = 248;

/// What one start needs, in the system's form.
struct Plan {
  std::wstring program;
  std::wstring line;
  std::wstring environment;
  std::wstring folder;
};

bool fail(const char* step, const std::string& path, LaunchError& error) {
  error = launchError(step, path);
  return false;
}

bool fail(const char* step, DWORD code, const std::string& path, LaunchError& error) {
  SetLastError(code);
  return fail(step, path, error);
}

bool isWord(const std::wstring& program) {
  return program.find_first_of(L"\\/:") == std::wstring::npos;
}

std::wstring variable(const wchar_t* name) {
  std::wstring value(GetEnvironmentVariableW(name, nullptr, 0), L'\0');
  if (!value.empty())
    value.resize(GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
  return value;
}

/// A name is looked for in PATH alone: the host's folder and the working folder, where the system
/// looks first by itself, may be somebody else's.
std::wstring search(const std::wstring& name) {
  const std::wstring folders = variable(L"PATH");
  std::wstring path(32768, L'\0');
  const DWORD size = SearchPathW(folders.c_str(), name.c_str(), L".exe",
                                 static_cast<DWORD>(path.size()), path.data(), nullptr);
  path.resize(size);
  return path;
}

std::wstring fullPath(const std::wstring& path) {
  std::wstring full(32768, L'\0');
  full.resize(
      GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr));
  if (full.size() < kLongPath || full.compare(0, 2, L"\\\\") == 0) return full;
  return L"\\\\?\\" + full;
}

bool endsWith(const std::wstring& text, const wchar_t* end) {
  const std::size_t size = std::wstring(end).size();
  return text.size() >= size &&
         CompareStringOrdinal(text.data() + text.size() - size, static_cast<int>(size), end,
                              static_cast<int>(size), TRUE) == CSTR_EQUAL;
}

bool findProgram(const Command& command, Plan& plan, LaunchError& error) {
  const auto name = toWide(command.program);
  if (!name || name->empty() || name->find_first_of(L"\"\0", 0, 2) != std::wstring::npos)
    return fail("find the program", ERROR_INVALID_NAME, command.program, error);
  plan.program = isWord(*name) ? search(*name) : fullPath(*name);
  if (plan.program.empty()) return fail("find the program", command.program, error);
  DWORD attributes = systemCall(Call::FindProgram, INVALID_FILE_ATTRIBUTES,
                                [&] { return GetFileAttributesW(plan.program.c_str()); });
  if (attributes == INVALID_FILE_ATTRIBUTES && GetLastError() == ERROR_FILE_NOT_FOUND) {
    attributes = GetFileAttributesW((plan.program + L".exe").c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) plan.program += L".exe";
  }
  if (attributes == INVALID_FILE_ATTRIBUTES)
    return fail("find the program", command.program, error);
  if (attributes & FILE_ATTRIBUTE_DIRECTORY)
    return fail("find the program (it is a folder)", ERROR_ACCESS_DENIED, command.program, error);
  // Its interpreter splits the line by rules of its own, and would run what stands in an argument.
  if (endsWith(plan.program, L".bat") || endsWith(plan.program, L".cmd"))
    return fail("start a batch file (start cmd.exe for it)", ERROR_BAD_EXE_FORMAT, command.program,
                error);
  return true;
}

bool makeLine(const Command& command, Plan& plan, LaunchError& error) {
  const std::string line = windowsCommandLine(command.program, command.arguments);
  const auto wide = toWide(line);
  if (!wide || wide->find(L'\0') != std::wstring::npos)
    return fail("pass arguments that are not UTF-8", ERROR_INVALID_PARAMETER, command.program,
                error);
  if (wide->size() > kLongestLine)
    return fail("pass the arguments (too many)", ERROR_BAD_LENGTH, command.program, error);
  plan.line = *wide;
  return true;
}

struct NameLess {
  bool operator()(const std::wstring& a, const std::wstring& b) const {
    return CompareStringOrdinal(a.data(), static_cast<int>(a.size()), b.data(),
                                static_cast<int>(b.size()), TRUE) == CSTR_LESS_THAN;
  }
};

bool makeEnvironment(const Command& command, Plan& plan, LaunchError& error) {
  std::map<std::wstring, std::wstring, NameLess> all;
  if (command.inheritEnvironment) {
    wchar_t* const block = GetEnvironmentStringsW();
    if (!block) return fail("read the environment", command.program, error);
    for (const wchar_t* entry = block; *entry; entry += std::wcslen(entry) + 1) {
      const std::wstring text = entry;
      // The first character may be an equals sign: the folders of drives are kept so.
      const std::size_t equals = text.find(L'=', 1);
      if (equals != std::wstring::npos) all[text.substr(0, equals)] = text.substr(equals + 1);
    }
    FreeEnvironmentStringsW(block);
  }
  for (const auto& [name, value] : command.environment) {
    const auto wideName = toWide(name);
    const auto wideValue = toWide(value.value_or(""));
    if (!wideName || !wideValue || (*wideName + *wideValue).find(L'\0') != std::wstring::npos)
      return fail("pass an environment that is not UTF-8", ERROR_INVALID_PARAMETER, command.program,
                  error);
    if (value)
      all[*wideName] = *wideValue;
    else
      all.erase(*wideName);
  }
  for (const auto& [name, value] : all)
    plan.environment.append(name).append(L"=").append(value).append(1, L'\0');
  plan.environment += L'\0';
  if (all.empty()) plan.environment += L'\0';
  return true;
}

bool makePlan(const Command& command, Plan& plan, LaunchError& error) {
  if (!findProgram(command, plan, error) || !makeLine(command, plan, error) ||
      !makeEnvironment(command, plan, error))
    return false;
  const auto folder = toWide(command.folder);
  if (!folder) return fail("enter the folder", ERROR_INVALID_NAME, command.folder, error);
  plan.folder = *folder;
  const DWORD attributes =
      plan.folder.empty() ? 0 : systemCall(Call::Folder, INVALID_FILE_ATTRIBUTES, [&] {
        return GetFileAttributesW(plan.folder.c_str());
      });
  if (attributes == INVALID_FILE_ATTRIBUTES) return fail("enter the folder", command.folder, error);
  return true;
}

/// The list of handles and jobs for CreateProcessW. What it points to must outlive it.
class Attributes {
 public:
  Attributes() {
    SIZE_T size = 0;
    InitializeProcThreadAttributeList(nullptr, 2, 0, &size);
    fMemory.resize(size);
    fMade = InitializeProcThreadAttributeList(list(), 2, 0, &size);
  }
  ~Attributes() {
    if (fMade) DeleteProcThreadAttributeList(list());
  }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  bool add(DWORD_PTR what, HANDLE* handles, std::size_t count) {
    return fMade && UpdateProcThreadAttribute(list(), 0, what, handles, count * sizeof *handles,
                                              nullptr, nullptr);
  }
  LPPROC_THREAD_ATTRIBUTE_LIST list() {
    return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(fMemory.data());
  }

 private:
  std::vector<char> fMemory;
  BOOL fMade = FALSE;
};

/// The child's three handles, which can be inherited, for the moment of the start.
struct Inherited {
  WinHandle owned[3];
  HANDLE handles[3] = {};
  bool console = false;  ///< one is the host's console

  bool make(const ChildStreams& streams);
};

bool Inherited::make(const ChildStreams& streams) {
  const Handle* given[] = {&streams.in, &streams.out, &streams.err};
  const DWORD hosts[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  Handle null;
  for (int i = 0; i < 3; ++i) {
    HANDLE from = *given[i] ? given[i]->get() : GetStdHandle(hosts[i]);
    DWORD mode = 0;
    if (!*given[i] && from && GetConsoleMode(from, &mode)) console = true;
    // A host with windows only has none.
    if (!from || from == INVALID_HANDLE_VALUE) {
      if (!null) null = openNull();
      from = null.get();
    }
    HANDLE to = nullptr;
    const BOOL made = systemCall(Call::Duplicate, FALSE, [&] {
      return DuplicateHandle(GetCurrentProcess(), from, GetCurrentProcess(), &to, 0, TRUE,
                             DUPLICATE_SAME_ACCESS);
    });
    if (!made) return false;
    owned[i].reset(to);
    handles[i] = to;
  }
  return true;
}

enum class Start { InJob, Suspended };

bool create(const Plan& plan, const Inherited& inherited, Attributes& attributes, Start how,
            PROCESS_INFORMATION& made) {
  STARTUPINFOEXW info{};
  info.StartupInfo.cb = sizeof info;
  info.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
  info.StartupInfo.hStdInput = inherited.handles[0];
  info.StartupInfo.hStdOutput = inherited.handles[1];
  info.StartupInfo.hStdError = inherited.handles[2];
  info.lpAttributeList = attributes.list();
  DWORD flags = EXTENDED_STARTUPINFO_PRESENT | CREATE_UNICODE_ENVIRONMENT;
  // On the host's console a program needs that console.
  if (!inherited.console) flags |= CREATE_NO_WINDOW;
  if (how == Start::Suspended) flags |= CREATE_SUSPENDED;
  std::wstring line = plan.line;
  std::wstring environment = plan.environment;
  return systemCall(Call::Spawn, FALSE, [&] {
    return CreateProcessW(plan.program.c_str(), line.data(), nullptr, nullptr, TRUE, flags,
                          environment.data(), plan.folder.empty() ? nullptr : plan.folder.c_str(),
                          &info.StartupInfo, &made);
  });
}

/// Where the system took the job with the start, it is in it already.
bool putInJob(HANDLE process, HANDLE job) {
  BOOL isIn = FALSE;
  if (IsProcessInJob(process, job, &isIn) && isIn) return true;
  return systemCall(Call::AssignJob, FALSE, [&] { return AssignProcessToJobObject(job, process); });
}

const char* startIn(const Plan& plan, Inherited& inherited, Spawned& spawned) {
  HANDLE job = spawned.job.get();
  Attributes attributes;
  if (!attributes.add(PROC_THREAD_ATTRIBUTE_HANDLE_LIST, inherited.handles, 3))
    return "limit what is inherited";
  Start how = Start::InJob;
  const bool listed = systemCall(Call::JobList, false, [&] {
    return attributes.add(PROC_THREAD_ATTRIBUTE_JOB_LIST, &job, 1);
  });
  if (!listed) how = Start::Suspended;
  PROCESS_INFORMATION made{};
  if (!create(plan, inherited, attributes, how, made)) return "CreateProcessW";
  spawned.process.reset(made.hProcess);
  const WinHandle thread(made.hThread);
  const char* step = nullptr;
  if (!putInJob(made.hProcess, job)) {
    step = "AssignProcessToJobObject";
  } else if (how == Start::Suspended) {
    const DWORD resumed = systemCall(Call::Resume, static_cast<DWORD>(-1),
                                     [&] { return ResumeThread(thread.get()); });
    if (resumed == static_cast<DWORD>(-1)) step = "ResumeThread";
  }
  if (!step) return nullptr;
  const DWORD code = GetLastError();
  TerminateProcess(made.hProcess, 1);
  SetLastError(code);
  return step;
}

}  // namespace

bool limitJob(void* job, bool endWithJob) {
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_DIE_ON_UNHANDLED_EXCEPTION;
  if (endWithJob) limits.BasicLimitInformation.LimitFlags |= JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  return systemCall(Call::Job, FALSE, [&] {
    return SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
  });
}

bool spawn(const Command& command, const ChildStreams& streams, Spawned& spawned,
           LaunchError& error) {
  Plan plan;
  if (!makePlan(command, plan, error)) return false;
  spawned.job.reset(
      systemCall(Call::Job, HANDLE{nullptr}, [] { return CreateJobObjectW(nullptr, nullptr); }));
  if (!spawned.job || !limitJob(spawned.job.get(), true))
    return fail("make a job object", command.program, error);
  Inherited inherited;
  if (!inherited.make(streams)) return fail("duplicate a handle", command.program, error);
  const char* step = startIn(plan, inherited, spawned);
  if (!step) return true;
  fail(step, command.program, error);
  spawned = {};
  return false;
}

}  // namespace nkutil
