#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "nkutil/Lines.h"

namespace nkutil {

namespace {

constexpr std::size_t kBlockSize = 65536;
/// Most programs say little.
constexpr std::size_t kFirstBlockSize = 4096;
/// Bytes that came closer together than this share a time, so that a flood of single bytes does
/// not cost more for its times than for the bytes.
constexpr std::chrono::microseconds kSameTime{100};

}  // namespace

Buffer::Buffer(std::size_t cap) : fCap(std::max<std::size_t>(cap, 2)) {}

Time Buffer::Block::timeAt(std::size_t place) const {
  const auto mark = std::upper_bound(marks.begin(), marks.end(), place,
                                     [](std::size_t at, const Mark& m) { return at < m.end; });
  return mark == marks.end() ? marks.back().time : mark->time;
}

void Buffer::append(std::string_view bytes, Time time) {
  const std::size_t half = fCap / 2;
  while (!bytes.empty()) {
    std::size_t count = 0;
    if (fTail.empty() && fDropped == 0 && fHeadSize < half) {
      count = appendTo(fHead, bytes.substr(0, half - fHeadSize), time);
      fHeadSize += count;
    } else {
      count = appendTo(fTail, bytes, time);
      fTailSize += count;
      if (fTailSize > fCap - half) dropFromTail(fTailSize - (fCap - half));
    }
    bytes.remove_prefix(count);
  }
}

std::size_t Buffer::appendTo(Blocks& blocks, std::string_view bytes, Time time) {
  if (blocks.empty() || blocks.back().end == blocks.back().capacity) {
    Block block = std::move(fSpare);
    if (!block.bytes) {
      const bool little = blocks.empty() && bytes.size() < kFirstBlockSize;
      block.capacity = little ? kFirstBlockSize : kBlockSize;
      block.bytes.reset(new char[block.capacity]);
    }
    blocks.push_back(std::move(block));
  }
  Block& block = blocks.back();
  const std::size_t count = std::min(bytes.size(), block.capacity - block.end);
  if (block.marks.empty() || time - block.marks.back().time > kSameTime)
    block.marks.push_back({block.end, time});
  std::memcpy(block.bytes.get() + block.end, bytes.data(), count);
  block.end += count;
  block.marks.back().end = block.end;
  return count;
}

void Buffer::dropFromTail(std::size_t count) {
  fDropped += count;
  fTailSize -= count;
  while (count > 0) {
    Block& block = fTail.front();
    const std::size_t here = std::min(count, block.end - block.begin);
    block.begin += here;
    count -= here;
    if (block.begin < block.end) return;
    fSpare = std::move(block);
    fTail.pop_front();
    fSpare.begin = fSpare.end = 0;
    fSpare.marks.clear();
  }
}

void Buffer::joinTail() {
  if (fTail.empty()) return;
  fTail.front().droppedBefore += std::exchange(fDropped, 0);
  std::move(fTail.begin(), fTail.end(), std::back_inserter(fHead));
  fTail.clear();
  fHeadSize += std::exchange(fTailSize, 0);
}

Buffer::LineEnd Buffer::findLineEnd() {
  joinTail();
  LineEnd result;
  result.size = fSearchedSize;
  for (std::size_t i = fSearchedBlocks; i < fHead.size(); ++i) {
    const Block& block = fHead[i];
    if (i > 0 && block.droppedBefore > 0) {
      result.found = true;
      result.block = i - 1;
      result.time = fHead[i - 1].marks.back().time;
      return result;
    }
    const std::string_view text = block.text();
    if (const void* end = std::memchr(text.data(), '\n', text.size())) {
      const auto place = static_cast<std::size_t>(static_cast<const char*>(end) - text.data());
      result.found = result.ended = true;
      result.size += place;
      result.block = i;
      result.time = block.timeAt(block.begin + place);
      return result;
    }
    result.size += text.size();
    // The last block may still grow.
    if (i + 1 < fHead.size()) {
      fSearchedBlocks = i + 1;
      fSearchedSize = result.size;
    }
  }
  return result;
}

/// Nearly every line lies in one block with bytes to follow.
bool Buffer::takeFromFront(Line& line) {
  Block& block = fHead.front();
  const std::string_view text = block.text();
  const auto* end = static_cast<const char*>(std::memchr(text.data(), '\n', text.size()));
  if (!end || end + 1 == text.data() + text.size()) return false;
  const auto size = static_cast<std::size_t>(end - text.data());
  line.text.assign(text.data(), size);
  line.time = block.timeAt(block.begin + size);
  line.ended = true;
  line.droppedBefore = std::exchange(block.droppedBefore, 0);
  block.begin += size + 1;
  fHeadSize -= size + 1;
  return true;
}

void Buffer::take(const LineEnd& end, Line& line) {
  line.time = end.time;
  line.ended = end.ended;
  line.droppedBefore = std::exchange(fHead.front().droppedBefore, 0);
  line.text.clear();
  line.text.reserve(end.size);
  std::size_t left = end.size + (end.ended ? 1 : 0);
  fHeadSize -= left;
  while (left > 0) {
    Block& block = fHead.front();
    const std::string_view piece = block.text().substr(0, left);
    left -= piece.size();
    line.text.append(piece, 0, piece.size() - (left == 0 && end.ended ? 1 : 0));
    block.begin += piece.size();
    if (block.begin == block.end) fHead.pop_front();
  }
  fSearchedBlocks = fSearchedSize = 0;
}

bool Buffer::takeLine(Line& line) {
  joinTail();
  if (fSearchedBlocks == 0 && !fHead.empty() && takeFromFront(line)) return true;
  const LineEnd end = findLineEnd();
  if (end.found) take(end, line);
  return end.found;
}

bool Buffer::takeRest(Line& line) {
  joinTail();
  if (fHead.empty()) {
    line.time = Time{};
    line.ended = false;
    line.droppedBefore = std::exchange(fDropped, 0);
    line.text.clear();
    return line.droppedBefore > 0;
  }
  LineEnd end;
  end.size = fHeadSize;
  end.time = fHead.back().marks.back().time;
  take(end, line);
  return true;
}

Time Buffer::nextLineTime() {
  return findLineEnd().time;
}

void Buffer::moveTo(Buffer& other) {
  joinTail();
  if (!fHead.empty()) {
    other.joinTail();
    fHead.front().droppedBefore += std::exchange(other.fDropped, 0);
    std::move(fHead.begin(), fHead.end(), std::back_inserter(other.fHead));
    fHead.clear();
    other.fHeadSize += std::exchange(fHeadSize, 0);
  }
  other.fDropped += std::exchange(fDropped, 0);
  fSearchedBlocks = fSearchedSize = 0;
}

Buffer::Bytes Buffer::takeBytes() {
  joinTail();
  Bytes result;
  result.text.reserve(fHeadSize);
  result.gap = fHeadSize;
  for (const Block& block : fHead) {
    if (block.droppedBefore > 0 && result.dropped == 0) result.gap = result.text.size();
    result.dropped += block.droppedBefore;
    result.text += block.text();
  }
  result.dropped += std::exchange(fDropped, 0);
  fHead.clear();
  fHeadSize = fSearchedBlocks = fSearchedSize = 0;
  return result;
}

}  // namespace nkutil
