// What a picture program gives to the common main: its scene. Everything else (window, context, frame loop, file) is shared.
#pragma once

#include <GL/gl.h>

struct Picture {
  int width = 240, height = 180;
  int frames = 1;
  // With the context current, once.
  void (*init)() = nullptr;
  // Draws frame 0, 1, ... into the back buffer; the common code swaps.
  void (*draw)(int frame) = nullptr;
};

// Defined by each program.
extern const Picture kPicture;
