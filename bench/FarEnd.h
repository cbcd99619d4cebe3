#pragma once

#include <sys/types.h>

/// A network namespace in which another process answers every echo request to 10.0.0.0/8.
///
/// What a request costs the process that sends it is then what it costs on a real network: sending
/// it, and reading its answer. Over loopback the same system call also runs the target's end and
/// the way back, all in the sender's time.
class FarEnd {
 public:
  /// Moves the calling thread into the namespace, and to one processor, with the answering process
  /// on another where there is one: the far end must not push the near one aside. Start other
  /// threads afterwards. Throws std::runtime_error when this machine has no namespace or no TUN
  /// device to give.
  FarEnd();
  FarEnd(const FarEnd&) = delete;
  FarEnd& operator=(const FarEnd&) = delete;
  /// Ends the answering; the thread stays where it is.
  ~FarEnd();

  /// CPU seconds of the answering process so far, user and system.
  [[nodiscard]] double cpuSeconds() const;

 private:
  pid_t responder_ = -1;
};
