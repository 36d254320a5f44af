#pragma once

#include <string>

// One function per kind of foreign text. Each takes one input and aborts when the parsers break a
// promise; sanitizers find the rest.
void FuzzSysfsNumbers(const std::string& text);
void FuzzPCIIDs(const std::string& text);
void FuzzGLVersions(const std::string& text);
void FuzzReports(const std::string& text);
void FuzzJson(const std::string& text);
void FuzzFaults(const std::string& text);
/// Words of a command line, one a line: the probe's, gpureport's, and of any program on Windows.
void FuzzOptions(const std::string& text);
void FuzzCommandLines(const std::string& text);
void FuzzQuoting(const std::string& text);

/// Unlike assert, names the promise in words.
void promise(bool kept, const char* text);
