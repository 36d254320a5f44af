#pragma once

/// Compiles and links the test program in the current context: a nine-tap weighted sampler with a
/// blend over a background, for the compatibility profile. It is never drawn with. Throws
/// ZOR::LogicalException when the driver refuses it.
void CompileAndLinkTestProgram();
