#pragma once

#include <sys/types.h>

#include "nkutil/Child.h"
#include "nkutil/Tree_linux.h"

namespace nkutil {

/// Starts the program as the leader of a session of its own, marked as the tree's. Called on the
/// thread that will live as long as it. Returns its number, or -1 with the error.
pid_t spawn(const Command& command, const Tree& tree, const ChildStreams& streams,
            LaunchError& error);

/// Gives a descriptor a number above the standard streams, which a host may have closed: what is
/// written to descriptor 1 by mistake must not get into ours, and a child must not get it as its
/// host's stream. False: there is none now, with the system's error.
bool moveAboveStreams(Descriptor& descriptor);

}  // namespace nkutil
