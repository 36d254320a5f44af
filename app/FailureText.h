#pragma once

#include <string>

/// Names the exception being handled and gives its message: what standard error gets for a
/// failure. Call it inside a catch block only.
std::string CurrentFailureText();
