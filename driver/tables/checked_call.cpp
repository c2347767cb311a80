// The comparison of a context before and after a call.
#include "driver/tables/checked_call.h"

#include <cstdio>
#include <cstdlib>

#include "driver/base/current_context.h"
#include "driver/state/gl_context.h"

namespace qv {

namespace {

uint64_t written(const GlContext* context) { return static_cast<uint64_t>(context->cursor - context->base); }

}  // namespace

CallCheck::CallCheck(const char* name) : name_(name), context_(currentContext()) {
  if (context_ == nullptr) return;
  errors_ = context_->errorsRaised;
  written_ = written(context_);
  flushes_ = context_->flushesDone;
  runOpen_ = context_->runOpen;
}

CallCheck::~CallCheck() {
  if (context_ == nullptr || context_ != currentContext()) return;
  const uint32_t errors = context_->errorsRaised - errors_;
  if (errors == 0) return;
  // A refused call may have asked the host before it refused: the stream is empty then.
  const bool flushed = context_->flushesDone != flushes_;
  const bool untouched = flushed ? written(context_) == 0 : written(context_) == written_ && context_->runOpen == runOpen_;
  if (errors == 1 && untouched) return;
  std::fprintf(stderr, "%s: %u errors raised, stream %llu bytes long instead of %llu\n", name_, errors,
               static_cast<unsigned long long>(written(context_)), static_cast<unsigned long long>(flushed ? 0 : written_));
  std::abort();
}

}  // namespace qv
