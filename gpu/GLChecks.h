#pragma once

// The two questions whose answer is whether a driver does what it is told. Both act in the current
// context.

/// Compiles and links the test program: a nine-tap weighted sampler with a blend over a background,
/// for the compatibility profile. It is never drawn with. Throws ZOR::LogicalException when the
/// driver refuses it.
void CompileAndLinkTestProgram();

/// Draws two quads into a small texture with the fixed functions of the compatibility profile.
/// Returns whether no GL error is pending afterwards, one left by earlier calls included. Throws
/// ZOR::LogicalException when the driver lacks a function for it.
bool DrawToTextureLeavesNoError();
