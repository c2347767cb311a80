// The routines that every fuzz target defines, called by libFuzzer or by replay_main.
#pragma once

#include <cstddef>
#include <cstdint>

// Runs one input. A fault ends the process.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
// Called once, before the first input.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
