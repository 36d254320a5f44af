#pragma once

/// Draws two quads into a small texture with the fixed functions of the compatibility profile, in
/// the current context. Returns whether no GL error is pending afterwards, one left by earlier
/// calls included. Throws ZOR::LogicalException when the driver lacks a function for it.
bool DrawToTextureLeavesNoError();
