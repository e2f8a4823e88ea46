#include "file/ProgressEvent.h"

namespace zenvary {

ProgressEvent::~ProgressEvent() = default;

void ProgressEvent::PercentDone(int, bool& abort) { abort = false; }

void ProgressEvent::AbortCheck(bool& abort) { abort = false; }

void ProgressEvent::AbortCheck2(bool& abort) { abort = false; }

}  // namespace zenvary
