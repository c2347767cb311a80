// GlContext: one rendering context, at once the stream its commands are written to and the shadow of the GL state the guest
// must know without asking the host.
#pragma once

#include <atomic>
#include <cstdint>

#include "driver/base/command_stream.h"
#include "driver/objects/name_table.h"
#include "driver/objects/tracked_object.h"
#include "driver/objects/vertex_array_object.h"
#include "driver/state/application_profile.h"
#include "driver/state/attribute_groups.h"
#include "driver/state/state_stack.h"
#include "platform/win32.h"
#include "wire/pixel_store.h"

namespace qv {

struct DisplayListStream;
struct ProgramRecord;
struct ShareGroup;
struct DebugState;

using MatrixStack = StateStack<Matrix>;

// The value of GlContext::listMode while a called list is applied to the shadow.
inline constexpr uint32_t kListScanning = 4866;

inline constexpr uint64_t kNoRun = ~uint64_t{0};

// The vertex run that is being packed.
struct VertexRun {
  static constexpr uint32_t kSlots = 16;
  // All zero when no run is open, so that the fast compare of an attribute call fails. A texture unit far from any can make a call
  // repeat the position of a full layout under another name: the last element, always zero, is what the call behind it meets.
  uint32_t runSignature[kSlots + 1] = {};
  uint32_t runSlotIndex = 0;  // the slot that the next attribute call must match
  uint8_t runOpen = 0;
  uint8_t runLayoutFixed = 0;  // the first vertex has been given
  uint32_t runSlotCount = 0;
  uint32_t runStride = 0;         // bytes per vertex so far
  uint32_t runPrimitive = 0;      // the mode given to glBegin
  uint64_t runStart = kNoRun;     // offset of the run's head from `base`; an offset, since reserve may move the buffer
  uint8_t runTemplate[512] = {};  // the attributes given before the first vertex
};

// Buffer bindings. The limit cache is clamped to the lengths of the indexed ones.
struct BufferBindings {
  static constexpr uint32_t kTransformFeedback = 8, kUniform = 128, kAtomicCounter = 15, kShaderStorage = 80;
  uint32_t array = 0, pixelPack = 0, pixelUnpack = 0, uniformExt = 0, transformFeedback = 0, uniform = 0, texture = 0,
           copyRead = 0, copyWrite = 0, drawIndirect = 0, atomicCounter = 0, shaderStorage = 0, dispatchIndirect = 0;
  uint32_t indexedTransformFeedback[kTransformFeedback] = {};
  uint32_t indexedUniform[kUniform] = {};
  uint32_t indexedAtomicCounter[kAtomicCounter] = {};
  uint32_t indexedShaderStorage[kShaderStorage] = {};
};

// Host limits, each stored from the first reply that has it and never refreshed. 0 or -1 stands for a limit that has not been
// fetched: the rows of driver/queries/limit_cache.cpp say which, and how far a reply is clamped.
struct LimitCache {
  int32_t maxLights = 0;
  int32_t maxAttribStackDepth = 0;
  int32_t maxModelviewStackDepth = 0;
  int32_t maxProjectionStackDepth = 0;
  int32_t maxTextureStackDepth = 0;
  int32_t maxColorMatrixStackDepth = 0;
  int32_t maxTextureUnits = 0;
  int32_t maxTextureImageUnits = 0;
  int32_t maxTextureCoords = 0;
  int32_t maxColorAttachments = 0;
  int32_t maxViewports = 0;
  int32_t numShaderBinaryFormats = -1;
  int32_t maxTransformFeedbackSeparateAttribs = -1;
  int32_t maxUniformBufferBindings = -1;
  int32_t maxAtomicCounterBufferBindings = -1;
  int32_t maxShaderStorageBufferBindings = -1;
  int32_t maxVertexAttribBindings = -1;
  int32_t maxVertexAttribRelativeOffset = -1;
};

// Names of the queries that run, 0 for none.
struct ActiveQueries {
  static constexpr uint32_t kIndices = 4;
  uint32_t samplesPassed = 0, anySamplesPassed = 0, anySamplesPassedConservative = 0, timeElapsed = 0;
  uint32_t primitivesGenerated[kIndices] = {};
  uint32_t feedbackPrimitivesWritten[kIndices] = {};
};

// The program that was looked for last, and the generation of the group's programs under which it was found.
struct KnownProgram {
  uint64_t generation = 0;
  uint32_t name = 0;
  ProgramRecord* record = nullptr;
};

// Lists of which the scanner knows that their call outside glBegin does nothing to the shadow, by name, and the generation of the
// group's lists under which it does. A name displaces another whose place it takes. Name 0, of which no list is, stands everywhere.
struct InertLists {
  static constexpr uint32_t kPlaces = 64;

  bool contain(uint32_t name, uint64_t now) const { return generation == now && names[name % kPlaces] == name; }
  void add(uint32_t name, uint64_t now) {
    if (generation != now) *this = {.generation = now};
    names[name % kPlaces] = name;
  }

  uint64_t generation = 0;
  uint32_t names[kPlaces] = {};
};

struct DeferredDeleteList {
  uint32_t* names = nullptr;
  uint32_t count = 0;
  uint32_t capacity = 0;
};

struct ClientAttribNode;

class GlContext final : public CommandStream, public VertexRun {
 public:
  // `pixelFormat` is a row 1..14 of the pixel format table, `version` major * 100 + minor * 10, `compatibility` 1 or 0.
  GlContext(int32_t pixelFormat, uint16_t version, uint8_t compatibility);
  ~GlContext() override;

  // Room for n bytes; flushes first once the buffer has reached 96 MiB, but never while a run is open.
  void reserve(uint64_t n) override;

  // --- what the hot entry points touch comes first, behind the run ---
  uint8_t insideBegin = 0;
  uint32_t beginPrimitive = 0;
  uint32_t listMode = 0;  // 0, GL_COMPILE, GL_COMPILE_AND_EXECUTE or kListScanning
  DisplayListStream* recordingList = nullptr;
  MatrixStack* currentMatrixStack = nullptr;  // null while the matrix mode is no valid mode
  uint32_t recordedError = 0;                 // the error recorded last; glGetError takes it
  uint32_t lastHostError = 0;
  uint32_t errorsRaised = 0;  // calls of recordError, those of a list being compiled too
  uint32_t flushesDone = 0;   // since construction; flushCount below starts over with each frame

  // --- identity and registry ---
  GlContext* registryNext = nullptr;  // next in ContextList
  // Ring of contexts that share objects; itself when alone. Changes under DriverLock; glFlush looks at its own word without.
  std::atomic<GlContext*> nextSharer;
  uint32_t handle = 0;                // index in ContextHandleTable
  uint32_t hostContextId = 0;
  uint32_t hostWindowId = 0;
  std::atomic<HWND> window = nullptr;  // null until first made current; a swap on another thread looks at it
  HDC deviceContext = nullptr;
  int32_t pixelFormatIndex;
  int32_t swapInterval = -1;      // -1 at construction, then 0 or 1
  uint32_t lastRefreshCount = 0;  // pacing state of the present
  uint16_t contextVersion;
  uint8_t compatibilityProfile;
  uint32_t quirkFlags = 0;
  ShareGroup* shareGroup;
  DebugState* debugLog = nullptr;  // null until the application first uses debug output

  // --- frame state ---
  uint32_t drawBufferMode;  // GL_FRONT or GL_BACK, shadow of glDrawBuffer
  uint8_t frontDirty = 0;   // drawn to the front buffer: decides flushing on glFlush and glFinish
  uint32_t flushCount = 0;  // flushes since the last swap
  DeferredDeleteList deferredDeletes;

  // --- client state ---
  PixelStoreState pixelStore;
  uint8_t nvRestartEnabled = 0;
  uint32_t nvRestartIndex = 0;
  uint8_t restartEnabled = 0;
  uint32_t restartIndex = 0;
  int32_t lockedFirst = -1, lockedCount = 0;  // glLockArraysEXT
  int32_t clientAttribDepth = 0;
  ClientAttribNode* clientAttribTop = nullptr;
  int32_t selectionBufferSize = 0;
  void* selectionBuffer = nullptr;
  int32_t feedbackBufferSize = 0;
  void* feedbackBuffer = nullptr;
  uint32_t renderMode = GL_RENDER;
  uint32_t clientActiveUnit = 0;
  uint32_t activeTextureUnit = 0;

  // --- shadow of the server state ---
  StateStack<DepthState> depth{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<ViewportState> viewport{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<LightingState> lighting{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<EnableState> enables{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<FogState> fog{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<PolygonState> polygon{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<TextureState> texture{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<LineState> line{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<ColorBufferState> colorBuffer{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<TransformState> transform{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<PixelGroupState> pixelGroup{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<ListState> list{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<MultisampleState> multisample{GL_MAX_ATTRIB_STACK_DEPTH};
  StateStack<uint32_t> attribMasks{GL_MAX_ATTRIB_STACK_DEPTH};
  MatrixStack modelview{GL_MAX_MODELVIEW_STACK_DEPTH};
  MatrixStack projection{GL_MAX_PROJECTION_STACK_DEPTH};
  MatrixStack color{GL_MAX_COLOR_MATRIX_STACK_DEPTH};
  MatrixStack* textureMatrices[kTextureUnits];
  int32_t listDepth = 0;

  BufferBindings buffers;
  LimitCache limits;
  uint32_t currentProgram = 0, boundPipeline = 0;
  uint8_t vertexProgramEnabled = 0, fragmentProgramEnabled = 0;
  // Of VertexArrayObject and of query records. They belong to the context's thread and are never locked.
  NameTable vertexArrayTable{destroyVirtual<TrackedObject>};
  NameTable queryTable{destroyLabelled<QueryRecord>};
  ActiveQueries activeQueries;
  KnownProgram knownProgram;
  InertLists inertLists;
  uint32_t boundVertexArray = 0;
  uint32_t drawFramebuffer = 0, readFramebuffer = 0;
  VertexArrayObject defaultVertexArray;  // in force while boundVertexArray is 0
  char scratchString[4096] = {};         // glGetString of names that are not cached
};

}  // namespace qv
