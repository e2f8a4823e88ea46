// A progress bar on standard error, shown only when it is a terminal. It is
// the component's progress sink, so the bar moves with the percent the
// component reports.
#pragma once
#include "file/ProgressEvent.h"

namespace zenvary::cli {

class ProgressBar : public ProgressEvent {
public:
    ProgressBar();
    ~ProgressBar() override;
    // The sink to hand to a file method: null when no bar is shown.
    ProgressEvent* sink() { return m_enabled ? this : nullptr; }
    void PercentDone(int percent, bool& abort) override;

private:
    bool m_enabled;
    bool m_drawn = false;
};

}  // namespace zenvary::cli
