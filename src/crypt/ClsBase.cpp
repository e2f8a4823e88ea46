#include "crypt/ClsBase.h"

#include <pwd.h>
#include <unistd.h>

#include <vector>

#include "core/StringBuffer.h"
#include "core/XString.h"

namespace zenvary {

namespace {

struct ComponentName {
    int32_t kind;
    const char* text;
};

// One row per host kind; a kind missing here logs no "Component" line.
constexpr ComponentName kComponentNames[] = {
    {ClsBase::kComponentActiveX, "ActiveX"},
    {ClsBase::kComponentNet1, ".NET 1.*"},
    {ClsBase::kComponentNet2, ".NET 2.0"},
    {ClsBase::kComponentNet2x64, ".NET 2.0 / x64"},
};

// The user name limited like a 400-character buffer; empty when the
// effective user has no account entry.
void currentUserName(StringBuffer& out) {
    long size = sysconf(_SC_GETPW_R_SIZE_MAX);
    std::vector<char> scratch(size > 0 ? static_cast<size_t>(size) : 16384);
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &entry, scratch.data(), scratch.size(), &found) != 0 || !found ||
        !found->pw_name) {
        return;
    }
    StringBuffer name(found->pw_name);
    if (name.getLength() > 399) name.removeRange(399, name.getLength() - 399);
    out.appendString(name);
}

void toXString(StringBuffer& rendered, XString& out, bool crlf) {
    if (crlf) rendered.toCRLF();
    out.setFromUtf8(rendered.getString());
}

}  // namespace

const char* ClsBase::componentName(int32_t kind) {
    for (const ComponentName& row : kComponentNames) {
        if (row.kind == kind) return row.text;
    }
    return nullptr;
}

void ClsBase::logUserAndComponent(int32_t kind) {
    StringBuffer user;
    currentUserName(user);
    m_log.logData("Username", user.getString());
    if (const char* name = componentName(kind)) m_log.logData("Component", name);
}

void ClsBase::lastErrorText(XString& out, bool crlf) {
    StringBuffer rendered;
    m_log.getText(rendered);
    toXString(rendered, out, crlf);
}

void ClsBase::lastErrorXml(XString& out, bool crlf) {
    StringBuffer rendered;
    m_log.getXml(rendered);
    toXString(rendered, out, crlf);
}

void ClsBase::lastErrorHtml(XString& out, bool crlf) {
    StringBuffer rendered;
    m_log.getHtml(rendered);
    toXString(rendered, out, crlf);
}

bool ClsBase::saveLastError(const XString& path) {
    StringBuffer name(path.getUtf8());
    name.trimWhitespace();
    if (name.getLength() == 0) return false;
    return m_log.saveXml(0, name.getString());
}

void ClsBase::refuseInBrowser(const char* methodName) {
    m_log.clear();
    m_log.enterContext(methodName, true);
    m_log.logData("DllDate", kBuildDate);
    m_log.logError("This method is not allowed to run in a browser for security purposes.");
    m_log.leaveContext();
}

MethodFrame::MethodFrame(ClsBase& object, const char* methodName) : m_log(object.log()) {
    m_log.clear();
    m_log.enterContext(methodName, true);
    m_log.logData("DllDate", kDllDate);
    object.logUserAndComponent(object.getComponentKind());
}

MethodFrame::~MethodFrame() { m_log.leaveContext(); }

}  // namespace zenvary
