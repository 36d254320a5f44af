#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace nkutil {

/// The clock of all times and deadlines: it never jumps.
using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Milliseconds = std::chrono::milliseconds;
/// A deadline that never comes.
constexpr Time kForever = Time::max();

enum class Stream { Out, Err };

/// One line of a stream, its bytes as they came: a CR before the line end stays.
struct Line {
  Stream stream = Stream::Out;
  Time time{};  ///< when its line end was read (the last byte where there is none), to 0.1 ms
  bool ended = false;               ///< a line end (LF) followed; it is not part of `text`
  std::uint64_t droppedBefore = 0;  ///< bytes lost to the cap just before this text
  std::string text;
};

/// Bytes that were read and not yet taken, with their times. It grows to a cap (at least 2 bytes);
/// past it the first half of the cap and the newest bytes up to another half are kept, what lies
/// between is dropped and counted. Not thread-safe.
class Buffer {
 public:
  explicit Buffer(std::size_t cap);

  /// Throws std::bad_alloc; what was not taken over then is for the caller to count with drop().
  void append(std::string_view bytes, Time time);
  /// Counts bytes that were lost before they came here.
  void drop(std::uint64_t count) { fDropped += count; }
  /// The next whole line, or the unfinished one before a drop. False when there is none.
  /// Leaves `line.stream` as it is.
  bool takeLine(Line& line);
  /// What takeLine() leaves at the end of a stream: the unfinished last line. False without one.
  bool takeRest(Line& line);
  /// Moves everything to the end of `other`, whose cap does not count.
  void moveTo(Buffer& other);

  struct Bytes {
    std::string text;
    std::size_t gap = 0;        ///< where in `text` bytes are missing for the first time
    std::uint64_t dropped = 0;  ///< how many are missing
  };
  /// Everything, unfinished lines included; empty when there is nothing.
  Bytes takeBytes();

  bool empty() const { return fHead.empty() && fTail.empty() && fDropped == 0; }
  /// When the line that takeLine() would give was read; kForever when there is none.
  Time nextLineTime();

 private:
  struct Mark {
    std::size_t end;  ///< the bytes of the block before this place came at `time`
    Time time;
  };
  struct Block {
    std::unique_ptr<char[]> bytes;
    std::size_t capacity = 0;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t droppedBefore = 0;
    std::vector<Mark> marks;

    std::string_view text() const { return {bytes.get() + begin, end - begin}; }
    Time timeAt(std::size_t place) const;
  };
  using Blocks = std::deque<Block>;
  struct LineEnd {
    bool found = false;
    bool ended = false;
    std::size_t size = 0;   ///< bytes of the line
    std::size_t block = 0;  ///< the block with its last byte or line end
    Time time = kForever;
  };

  std::size_t appendTo(Blocks& blocks, std::string_view bytes, Time time);
  void dropFromTail(std::size_t count);
  void joinTail();
  LineEnd findLineEnd();
  bool takeFromFront(Line& line);
  void take(const LineEnd& end, Line& line);

  std::size_t fCap;
  Blocks fHead;
  Blocks fTail;
  std::size_t fHeadSize = 0;
  std::size_t fTailSize = 0;
  std::uint64_t fDropped = 0;  ///< between head and tail
  Block fSpare;                ///< memory of a dropped block, for the next one
  // Blocks at the front, and their bytes, that are known to hold no line end: a long line is
  // searched once.
  std::size_t fSearchedBlocks = 0;
  std::size_t fSearchedSize = 0;
};

/// The queue between the threads that read a program's streams and the one that takes lines from
/// them, with a cap for each stream. Closed at the end. Thread-safe; one thread takes at a time.
class Channel {
 public:
  /// Caps of Buffer, in bytes.
  Channel(std::size_t outCap, std::size_t errCap);

  /// Bytes of a stream; without memory for them they are dropped and counted.
  void push(Stream stream, std::string_view bytes, Time time) noexcept;
  /// Nothing more comes from the stream: its unfinished line can be taken.
  void close(Stream stream);

  enum class Taken { Line, Timeout, Closed };
  /// The next line of either stream, in the order of their times, waiting until the deadline.
  /// Closed: both streams are closed and every line was taken.
  Taken next(Line& line, Time deadline);
  /// Every byte of the stream that was not taken, without waiting.
  Buffer::Bytes takeBytes(Stream stream);

 private:
  struct Side {
    explicit Side(std::size_t cap) : shared(cap), taken(cap) {}
    Buffer shared;        ///< under fMutex
    Buffer taken;         ///< the taking thread's alone
    bool closed = false;  ///< under fMutex
  };
  bool takeTakenLine(Line& line);
  bool pull();
  Side& side(Stream stream) { return fSides[static_cast<int>(stream)]; }

  std::mutex fMutex;
  std::condition_variable fChanged;
  Side fSides[2];
};

/// Waits like wait_until, for deadlines up to kForever. False when the deadline has passed.
bool waitUntil(std::condition_variable& condition, std::unique_lock<std::mutex>& lock,
               Time deadline);

}  // namespace nkutil
