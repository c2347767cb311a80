// Where the peer's complaints go: one line per malformed packet, address or stream, and nothing else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

namespace qv::peer {

// Replaces the sink (standard error at start) and returns nothing; an empty function restores standard error. The sink is
// called under a lock, from any thread of the peer, with a line that has no line end.
void setLogSink(std::function<void(std::string_view line)> sink);

// Writes no more than so many lines in a second, 0 for any number; the first line after that says how many were dropped.
void limitLog(uint32_t linesPerSecond);

// Lines written since the process started, whatever the sink. A qv-host tells its number in PeerCounters.
uint64_t logLineCount();

// A longer line is cut.
inline constexpr size_t kLongestLogLine = 4096;

// Formats and writes one line.
[[gnu::format(printf, 1, 2)]] void logLine(const char* format, ...);

}  // namespace qv::peer
