// ArrayState: the vertex arrays of one context, and their way into GL.
//
// No array of an object of GL's is ever without a buffer, so that GL checks what a draw reads. The guest's arrays stand in
// objects here; a row goes to GL when a draw needs it. Arrays in the program's memory come with each draw and are put into a
// buffer of the host's own, at places from which GL's own reckoning with first elements and base instances leads to them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "peer/replay/array_rows.h"
#include "peer/replay/stream_buffer.h"
#include "wire/reader.h"

namespace qv::peer {

class Replayer;

// The data that came with a draw.
struct ClientBlock {
  const uint8_t* vertices = nullptr;
  uint64_t vertexCount = 0;
  uint32_t vertexBytes = 0;  // of one vertex
  const uint8_t* instances = nullptr;
  uint64_t instanceBytes = 0;
};

// Which elements of its arrays a draw uses.
struct ElementRange {
  int64_t first = 0;  // the block's first one
  uint32_t instances = 1;
  uint32_t baseInstance = 0;
};

class ArrayState {
 public:
  // --- what the guest sets; inside a primitive GL learns of it later ---
  void bindVertexArray(Replayer& replayer, GLuint name);
  void deleteVertexArray(GLuint name);
  void bindArrayBuffer(std::shared_ptr<HostBuffer> buffer);
  void setElements(Replayer& replayer, std::shared_ptr<HostBuffer> buffer);
  void setClientUnit(uint32_t unit) { clientUnit_ = unit; }
  uint32_t clientUnit() const { return clientUnit_; }
  struct Pointer {
    uint32_t size;
    GLenum type;
    uint32_t stride;
    uint32_t pointer;
    GLuint buffer;  // the guest's name
    bool normalized = false, integer = false, wide = false;
  };
  void setPointer(Replayer& replayer, uint32_t row, const Pointer& pointer);
  void setFormat(uint32_t row, uint32_t size, GLenum type, bool normalized, bool integer, bool wide, uint32_t relativeOffset);
  void setEnabled(uint32_t row, bool on);
  void setBinding(uint32_t row, uint32_t binding);
  void setDivisor(uint32_t binding, uint32_t divisor);
  void setVertexBuffer(Replayer& replayer, uint32_t binding, GLuint buffer, uint32_t offset, uint32_t stride);
  void push();
  void pop(Replayer& replayer);

  // --- what the guest has set ---
  const ArrayRow& row(uint32_t number) const { return current_->rows[number]; }
  const ArrayBinding& binding(uint32_t number) const { return current_->bindingOf(number); }
  bool isEnabled(uint32_t number) const { return (current_->enabledRows >> number & 1) != 0; }
  bool hasElements() const { return current_->elements != nullptr && !current_->elements->deleted; }

  // --- what becomes of buffers ---
  void deleted(Replayer& replayer, const HostBuffer& buffer);  // before GL deletes it
  void renewed(const HostBuffer& buffer);                      // it has another name of GL's

  // --- draws ---
  // Makes GL's vertex array object the guest's, with the element array binding as the guest has it.
  void bindElements(Replayer& replayer);
  // Gives GL_ARRAY_BUFFER back to the guest. Draws leave it as they need it.
  void restoreArrayBuffer();
  // The one that belongs to runs.
  void bindNone();
  // Enables in GL the rows that have buffers, and these alone. For draws without data of their own.
  // False, with an error raised, when GL has no object for them.
  bool useBuffers(Replayer& replayer);
  // Enables them, and the rows whose data are in the block, which is uploaded; `indices`, if there are any, too: `indexOffset` is
  // where they lie in the stream buffer, which is then GL's element buffer. False, with a line in the log, when the block does
  // not fit the rows or cannot be placed.
  struct Placed {
    uint64_t indexOffset = 0;
    int64_t shift = 0;  // elements that the draw must count less than it says
  };
  bool useBlock(Replayer& replayer, uint32_t opcode, const char* name, const ClientBlock& block, const ElementRange& range,
                const Elements<uint8_t>& indices, Placed& placed);
  // The buffer that the next draw takes its indices from. False when it is gone.
  bool useElements(const std::shared_ptr<HostBuffer>& buffer);
  // Whether every enabled row with a buffer has the elements from `least` to `most`. GL does not look at that where it reads
  // arrays by itself: while it compiles lists, and in glArrayElement. The rows are given to GL again before the next use.
  bool holds(int64_t least, int64_t most);

  // --- glArrayElement ---
  // Before a primitive: what rows with buffers need, which GL takes at no other time.
  void beforePrimitive(Replayer& replayer);
  // Gives an element of all enabled arrays, as vertex if a position is among them. `canApply`: GL takes changes of arrays.
  bool giveElements(Replayer& replayer, const ClientBlock& block, uint32_t index, bool canApply);

 private:
  struct Snapshot {
    GLuint name;
    uint32_t clientUnit;
    std::shared_ptr<HostBuffer> arrayBuffer;
    std::unique_ptr<ArrayObject> arrays;  // null: not saved
  };
  static constexpr size_t kMostObjects = 65536, kMostSaved = 16;

  ArrayObject& objectOf(GLuint name);
  // Gives GL's row a harmless place.
  void park(uint32_t row);
  // Whether GL has an object for the guest's arrays. It has none for the object 0 of a core context.
  bool bindReal(Replayer& replayer);
  bool isCoreDefault(Replayer& replayer) const;
  // Without an object: whether GL itself refuses the draw. Raises an error where it would not.
  bool mayGoOn(Replayer& replayer) const;
  void bindArray(const std::shared_ptr<HostBuffer>& buffer);
  void bindStream();
  void bindRealElements(const std::shared_ptr<HostBuffer>& buffer);
  // Gives GL a row. GL may refuse what was taken for drawable; it then keeps nothing of what the row was before.
  void giveRow(Replayer& replayer, uint32_t row, const ArrayPlace& place);
  void applyBuffered(Replayer& replayer, uint32_t row);
  void enableRows(uint32_t rows);
  // Gives GL a row whose data are in the stream buffer, element 0 at `offset`.
  void pointStreamed(Replayer& replayer, uint32_t row, uint64_t offset, uint32_t divisor);
  void setRealDivisor(uint32_t row, uint32_t divisor);
  // Whether GL has the rows from the stores that their buffers have now.
  bool areUpToDate(uint32_t rows) const;
  // Rows that are enabled and have buffers that are there.
  uint32_t bufferedRows() const;
  // Rows whose data come with a draw: of the block, and of the instance section.
  struct ClientRows {
    uint32_t vertex = 0, instance = 0;
    uint64_t vertexBytes = 0, instanceBytes = 0;
  };
  ClientRows clientRows(uint32_t instances, bool nullsToo) const;
  // Those whose sizes agree with the block's; false when none do.
  bool matchRows(const ClientBlock& block, uint32_t instances, ClientRows& out) const;

  std::map<GLuint, ArrayObject> objects_;
  ArrayObject default_;
  ArrayObject* current_ = &default_;
  GLuint currentName_ = 0;
  GLuint boundReal_ = 0;  // GL's bound vertex array object
  uint32_t clientUnit_ = 0;
  std::shared_ptr<HostBuffer> arrayBuffer_;  // bound to GL_ARRAY_BUFFER by the guest
  RealBuffer boundArray_;                    // bound there in GL
  bool boundStream_ = false;                 // it is the stream buffer
  std::vector<Snapshot> saved_;
  StreamBuffer stream_;
};

}  // namespace qv::peer
