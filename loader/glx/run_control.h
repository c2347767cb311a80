// The run of a program under `qv run`: ending it after some frames, the picture of its last one, figures, and the report.
#pragma once

#include <string>

namespace qv::loader {

// Counts a swap. Ends the process, with status 0, after the last swap asked for.
void countFrame();

// One line each into the report, if there is one.
void reportLoaded();
void reportFailure(const std::string& reason);

// At the end of the process: the picture and the figures. Acts once.
void finishRun();

}  // namespace qv::loader
