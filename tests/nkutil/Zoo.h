#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

/// What the zoo needs of each system.
namespace zoo {

using Arguments = std::vector<std::string>;
using Modes = std::map<std::string, std::function<void(const Arguments&)>>;
enum class Apart { No, Session };

/// Starts this program again in the mode, its streams inherited; in a session of its own (Windows:
/// detached) where that is wanted. Its process number.
int startSelf(const char* mode, Apart apart);
void ignoreRequests();
/// The program, given the arguments as the C runtime splits them, in UTF-8.
int run(const Arguments& all);
/// Modes of one system only.
const Modes& systemModes();

}  // namespace zoo
