#pragma once

#include "nkutil/Child.h"

namespace nkutil {

struct Spawned {
  WinHandle job;  ///< before the process: the tree goes when this closes
  WinHandle process;
};

/// Starts the program in a job object of its own. False: `error` says why.
bool spawn(const Command& command, const ChildStreams& streams, Spawned& spawned,
           LaunchError& error);

/// The limits of our job objects: no dialog for a crash, and the end of all of it when the job is
/// closed, if that is wanted.
bool limitJob(void* job, bool endWithJob);

}  // namespace nkutil
