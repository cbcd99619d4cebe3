#pragma once

#include <cstdint>

namespace Monitor::Icmp {

/// Since the start.
struct Counters {
  std::uint64_t sent = 0;
  std::uint64_t answered = 0;    ///< In time for their round; with them the reordered ones.
  std::uint64_t lost = 0;        ///< Not answered in time, in rounds that had a verdict.
  std::uint64_t reordered = 0;   ///< Answered after a later request of the round was.
  std::uint64_t late = 0;        ///< Came when their request had been given up.
  std::uint64_t duplicate = 0;   ///< Came for a request that had been answered before.
  std::uint64_t foreign = 0;     ///< Nothing that we asked for.
  std::uint64_t refused = 0;     ///< Requests answered by an ICMP error.
  std::uint64_t unsendable = 0;  ///< Requests that had no way out of this machine.
  std::uint64_t busy = 0;        ///< Attempts to send put off for want of room.
  std::uint64_t overflowed = 0;  ///< Packets that full sockets dropped.
  std::uint64_t overloaded = 0;  ///< Rounds without a verdict because we were too slow.
  std::uint64_t failed = 0;      ///< Rounds that could not be measured from here.
};

}  // namespace Monitor::Icmp
