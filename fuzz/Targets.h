#pragma once

#include <string>

// One function per kind of foreign text. Each takes one input and aborts when the parsers break a
// promise; sanitizers find the rest.
void FuzzSysfsNumbers(const std::string& text);
void FuzzPCIIDs(const std::string& text);
void FuzzGLVersions(const std::string& text);
void FuzzReports(const std::string& text);
