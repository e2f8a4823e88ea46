// Callbacks of a long operation. The defaults answer "don't abort"; the
// component shell derives from this class and turns the calls into its
// PercentDone and AbortCheck events.
#pragma once

namespace zenvary {

class ProgressEvent {
public:
    virtual ~ProgressEvent();

    // A new whole percent was reached; set abort to stop the operation.
    virtual void PercentDone(int percent, bool& abort);
    // The heartbeat between percents; set abort to stop the operation.
    virtual void AbortCheck(bool& abort);
    // The second abort form; the component shell routes it to the same
    // event as AbortCheck.
    virtual void AbortCheck2(bool& abort);
};

}  // namespace zenvary
