#pragma once

#include <cstdint>

/// What the process needs before it touches a driver: nothing of the system may stop it with a
/// dialog or a signal because of its standard streams. Called first of all.
void PreparePlatform();

/// The system kills the process after this many seconds; none or fewer call that off.
/// Does nothing on Windows, whose hosts keep the time themselves.
void ArmTimeout(int32_t seconds);

/// Waits this many milliseconds, so that a host can test its patience. Does nothing on Windows.
void HangBeforeExit(int32_t milliseconds);
