#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "nkutil/Handle.h"
#include "nkutil/Lines.h"

namespace nkutil {

/// What became of a read or a write.
enum class Transfer {
  Done,     ///< bytes were moved
  Closed,   ///< the stream is at its end; nobody reads any more
  Timeout,  ///< the deadline came first
  Ended,    ///< end() was called
  Failed,   ///< the system refused; the object has its code
};

/// The reading end of a pipe. One thread reads; end() and endWhenDry() may be called by any other
/// as long as the object lives.
class Reader {
 public:
  /// Owns the handle from now on. On Windows it must be an overlapped one, as makePipe() makes it.
  /// With an invalid handle, or without the system's means to wait, reads answer Failed.
  explicit Reader(Handle handle);
  ~Reader();
  Reader(Reader&&) noexcept;
  Reader& operator=(Reader&&) noexcept;

  /// Waits until bytes are there and reads up to `size` of them; their number goes to `got`.
  Transfer read(char* data, std::size_t size, Time deadline, std::size_t& got);
  /// Every read, a waiting one too, answers Ended from now on.
  void end();
  /// Reads go on while bytes are ready, up to 1 MiB more; then they answer Ended.
  void endWhenDry();
  /// The system's code of the failure; 0 without one.
  int error() const;

 private:
  struct State;
  std::unique_ptr<State> fState;
};

/// The writing end of a pipe, with the same rules as Reader. A reader that is gone raises no
/// signal.
class Writer {
 public:
  explicit Writer(Handle handle);
  ~Writer();
  Writer(Writer&&) noexcept;
  Writer& operator=(Writer&&) noexcept;

  /// Writes all bytes, or answers why not; part of them may have gone then.
  Transfer write(std::string_view bytes, Time deadline);
  void end();
  int error() const;

 private:
  struct State;
  std::unique_ptr<State> fState;
};

/// What our end of a pipe is for.
enum class PipeFor { Reading, Writing };
/// A new pipe: our end, made for Reader or Writer, and the child's, both the caller's. No program
/// that is started inherits either by itself. False when the system refuses; its code goes to
/// `error`. Any thread.
bool makePipe(PipeFor ours, Handle& ourEnd, Handle& childEnd, int& error);

/// The null device, for a child's stream. None when the system refuses: systemError() says why.
Handle openNull();

/// Takes the bytes of a stream as they come, on the thread that reads it: what it does holds up
/// the stream only. False: it wants no more, the rest is read and dropped. A call that never
/// returns holds a thread, no caller; what it uses must then live as long as the process.
using ByteSink = std::function<bool(std::string_view bytes, Time time)>;

/// The thread that reads one stream to its end, into a sink or else as lines with their times into
/// a channel, and closes its side of that channel.
class OutputTask {
 public:
  struct Options {
    Stream stream = Stream::Out;
    std::shared_ptr<Channel> channel;
    ByteSink sink;
    std::function<void(Time)> atFirstByte;  ///< on the reading thread
    std::function<void()> atEnd;            ///< on the reading thread, the last thing it does
  };
  OutputTask() = default;
  /// Ends the reading; waits for the thread only where it is at its end.
  ~OutputTask();
  OutputTask(OutputTask&&) noexcept = default;
  OutputTask& operator=(OutputTask&&) = delete;

  /// Starts the thread. False when the system has none; its code goes to `error`.
  bool start(Handle handle, Options options, int& error);
  /// See Reader.
  void end();
  void endWhenDry();
  /// The system's number of the thread; 0 before it runs. Any thread.
  std::uint32_t threadNumber() const;
  /// Bytes read so far. Any thread.
  std::uint64_t bytesRead() const;
  bool finished() const;
  /// The system's code where reading failed before the end of the stream; else 0. Any thread.
  int error() const;

 private:
  struct State;
  std::shared_ptr<State> fState;
  std::thread fThread;
};

}  // namespace nkutil
