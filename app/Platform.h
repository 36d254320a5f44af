#pragma once

#include <cstdint>

/// What the process needs before it touches a driver: our streams are ours alone, drivers are asked
/// to be quiet, and nothing of the system may stop the process with a dialog or a signal because of
/// its standard streams. Called first of all.
void PreparePlatform();

/// Ends the process with this code, at once: drivers crash in exit handlers of their own, and those
/// have nothing left to do for us.
[[noreturn]] void LeaveProcess(int code);

/// The system kills the process after this many seconds; none or fewer call that off.
/// Does nothing on Windows, whose hosts keep the time themselves.
void ArmTimeout(int32_t seconds);

/// Waits this many milliseconds, so that a host can test its patience. Does nothing on Windows.
void HangBeforeExit(int32_t milliseconds);
