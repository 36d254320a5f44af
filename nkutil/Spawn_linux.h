#pragma once

#include <sys/types.h>

#include "nkutil/Child.h"
#include "nkutil/Tree_linux.h"

namespace nkutil {

/// Starts the program as the leader of a session of its own, marked as the tree's. Called on the
/// thread that will live as long as it. Returns its number, or -1 with the error.
pid_t spawn(const Command& command, const Tree& tree, const ChildStreams& streams,
            LaunchError& error);

}  // namespace nkutil
