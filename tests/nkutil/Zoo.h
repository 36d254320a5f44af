#pragma once

#include <string>
#include <vector>

/// What the zoo needs of each system.
namespace zoo {

enum class Apart { No, Session };

/// Starts this program again with the arguments, its streams inherited; in a session of its own
/// (Windows: detached) where that is wanted. Its process number.
int startSelf(const std::vector<std::string>& arguments, Apart apart);
void sleepMs(int milliseconds);
/// Bytes as they are on every stream, and no dialog for a crash.
void begin();
void closeStreams();
void ignoreRequests();
/// The program, given the arguments as the C runtime splits them, in UTF-8.
int run(std::vector<std::string> arguments);
/// Modes of one system only; false when it is none.
bool special(const std::string& mode, const std::vector<std::string>& arguments);

}  // namespace zoo
