#pragma once

/// What the tool needs of the system beside nkutil.

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

namespace gpureport {

/// No dialogs, no translation of line ends, UTF-8 on a console; a reader that went away is an error
/// of the write, not the end. The first call of the program.
void PrepareProcess();
/// The program's arguments without its name, in UTF-8.
std::vector<std::string> Arguments(int argc, char** argv);
/// The folder of this program with a separator behind it; empty where the system doesn't tell.
std::string OwnFolder();
/// The program's name there, "gpuprobe" or "gpuprobe.exe".
const char* ProbeName();

enum class StandardStream { Out, Err };
/// Columns of the terminal that the stream leads to; 0 where it leads elsewhere.
int TerminalColumns(StandardStream stream);
/// All of the bytes, as they are. False when the system refuses. Async callers share no lock.
bool WriteBytes(StandardStream stream, std::string_view bytes);
/// False when it can't be opened or read; "-" is standard input.
bool ReadWholeFile(const std::string& path, std::string& bytes);
/// Makes an empty file; false, and errno, where there is one or the system refuses.
bool MakeFile(const std::string& path);
/// The file is there as a whole or not at all: written under a name beside it that begins with a
/// dot, then renamed; but a device or a pipe is written to. An empty text, or what went wrong.
std::string ReplaceFileBy(const std::string& path, std::string_view bytes);

/// Set at the first Ctrl-C (or SIGTERM, SIGHUP) from now on; the second one ends the program.
const std::atomic<bool>& WatchInterrupts();
/// Ends the program without what libraries do at their end.
[[noreturn]] void Leave(int code);

}  // namespace gpureport
