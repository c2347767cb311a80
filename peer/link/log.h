// The peer's log: one line for each packet, address or stream that is malformed, and for each thing that the host cannot do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace qv::peer {

// Replaces the sink, which is standard error at start; an empty function restores standard error. The sink is
// called under a lock, from any thread of the peer, with a line that has no line end.
void setLogSink(std::function<void(std::string_view line)> sink);

// Writes at most so many lines per second, 0 for any number. The first line after that tells how many were dropped.
void limitLog(uint32_t linesPerSecond);

// Lines written since the process started, whatever the sink. A qv-host tells its count in PeerCounters.
uint64_t logLineCount();

// A longer line is cut.
inline constexpr size_t kLongestLogLine = 4096;

// Formats and writes one line.
[[gnu::format(printf, 1, 2)]] void logLine(const char* format, ...);

}  // namespace qv::peer
