// ClsBase: base of the facade objects. It owns the object's log and gives the
// last-error renderings, the user and component lines of a method frame, and
// the browser refusal. MethodFrame runs the frame of a public method.
#pragma once
#include <cstdint>

#include "core/ZenvaryObject.h"
#include "log/Logger.h"

namespace zenvary {

class XString;

// The build date logged as "DllDate" by every framed method.
inline constexpr const char* kDllDate = "Jun  3 2008";
// The build date logged by the browser refusal.
inline constexpr const char* kBuildDate = "May 31 2008";

class ClsBase : public ZenvaryObject {
public:
    // Kinds of caller that logUserAndComponent names: the ActiveX host (3)
    // and the three reserved kinds 1, 2 and 264.
    static constexpr int32_t kComponentActiveX = 3;
    static constexpr int32_t kComponentNet1 = 1;
    static constexpr int32_t kComponentNet2 = 2;
    static constexpr int32_t kComponentNet2x64 = 264;
    // Kinds of our own bindings. They are outside the table above, so their
    // frames write no "Component" line.
    static constexpr int32_t kBindingC = 1001;
    static constexpr int32_t kBindingPython = 1002;
    static constexpr int32_t kBindingCli = 1003;

    ClsBase() = default;
    ~ClsBase() override = default;
    ClsBase(const ClsBase&) = delete;
    ClsBase& operator=(const ClsBase&) = delete;

    Logger& log() { return m_log; }

    int32_t getComponentKind() const { return componentKind; }
    void setComponentKind(int32_t kind) { componentKind = kind; }

    // "Username", then "Component" when `kind` is in the component table.
    void logUserAndComponent(int32_t kind);

    // The log rendered into `out`; with `crlf` every line ends in CR LF.
    void lastErrorText(XString& out, bool crlf);
    void lastErrorXml(XString& out, bool crlf);
    void lastErrorHtml(XString& out, bool crlf);

    // The XML form written to `path` (trimmed); false for an empty path or a failed write.
    bool saveLastError(const XString& path);

    // Leaves only the refusal of a method that may not run in a browser in the log.
    void refuseInBrowser(const char* methodName);

    // The text of "Component" for `kind`, or null when the kind has none.
    static const char* componentName(int32_t kind);

protected:
    Logger m_log;
    int32_t componentKind = 0;
};

// The frame of a public method: clears the log, opens a context named after
// the method, logs the build date, the user and the component, and closes the
// context when it goes out of scope, on every path.
class MethodFrame {
public:
    MethodFrame(ClsBase& object, const char* methodName);
    ~MethodFrame();
    MethodFrame(const MethodFrame&) = delete;
    MethodFrame& operator=(const MethodFrame&) = delete;

    LogBase& log() { return m_log; }

private:
    Logger& m_log;
};

}  // namespace zenvary
