#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

/// What the zoo needs of each system.
namespace zoo {

using Arguments = std::vector<std::string>;
using Modes = std::map<std::string, std::function<void(const Arguments&)>>;
enum class Apart { No, Session, Unmarked };

/// Starts this program again in the mode, its streams inherited; in a session of its own (Windows:
/// detached) where that is wanted, on Linux without the mark of its launch as well.
void startSelf(const char* mode, Apart apart);
void ignoreRequests();
/// The program, given the arguments as the C runtime splits them, in UTF-8, and the modes that one
/// system only has.
int run(const Arguments& all, const Modes& systemModes);

}  // namespace zoo
