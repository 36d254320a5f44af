#include "tests/support/SysfsTree.h"

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

using std::filesystem::path;

namespace {

/// The place for a file in a folder that is there, itself not.
path prepared(const path& place) {
  std::error_code nothingThere;
  std::filesystem::remove_all(place, nothingThere);
  std::filesystem::create_directories(place.parent_path());
  return place;
}

}  // namespace

SysfsTree::SysfsTree(const std::string& text) {
  std::string folder = std::filesystem::temp_directory_path() / "sysfs-XXXXXX";
  if (!mkdtemp(folder.data())) throw std::runtime_error("mkdtemp");
  fRoot = std::filesystem::canonical(folder);
  std::istringstream lines(text);
  path current;
  for (std::string line; std::getline(lines, line);) {
    const size_t sign = std::min(line.find(" -> "), line.find(" = "));
    if (line[0] == '@') {
      current = line.substr(1);
    } else if (line[0] != '#' && line.compare(sign, 2, " -") == 0) {
      link(current / line.substr(0, sign), line.substr(sign + 4));
    } else if (line[0] != '#') {
      std::string content = line.substr(sign + 3) + '\n';
      boost::replace_all(content, "\\n", "\n");
      boost::replace_all(content, "\\t", "\t");
      write(current / line.substr(0, sign), content);
    }
  }
}

SysfsTree::~SysfsTree() {
  std::error_code ignored;
  std::filesystem::remove_all(fRoot, ignored);
}

void SysfsTree::write(const path& file, const std::string& content) const {
  std::ofstream(prepared(fRoot / file), std::ios::binary) << content;
}

void SysfsTree::link(const path& file, const std::string& target) const {
  std::filesystem::create_symlink(target, prepared(fRoot / file));
}

std::string SysfsTree::withoutRoot(std::string text) const {
  boost::replace_all(text, fRoot.native(), "");
  return text;
}

std::string SysfsTree::Recorded(const std::string& machine) {
  return ReadWholeFile(path(GPUPROBE_MACHINES) / machine / "tree");
}

std::string ReadWholeFile(const path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}
