// File helpers: open, size, test, delete and write files by name, with the
// failure reasons in the log. Names are UTF-8 paths (an XString's UTF-8
// form). A handle is a POSIX file descriptor; kInvalidFile when closed.
#pragma once
#include <cstdint>

namespace zenvary {

class LogBase;
class StringBuffer;
class XString;

constexpr int kInvalidFile = -1;

// Opens an existing file for reading; "Cannot open file, filename is empty."
// for an empty name.
int openForRead(const XString& name, LogBase* log);
int openForRead(const char* utf8Name, LogBase* log);
// Opens a directory (or file) for reading its attributes and times.
int openDirectoryForRead(const XString& name, LogBase* log);
int openDirectoryForRead(const char* utf8Name, LogBase* log);
// Opens for reading and writing, creating the file when missing.
int openForReadWrite(const XString& name, LogBase* log);
int openForReadWrite(const char* utf8Name, LogBase* log);
// Creates or truncates for writing; a read-only target loses its read-only
// state and is overwritten.
int openForWrite(const XString& name, LogBase* log);
int openForWrite(const char* utf8Name, LogBase* log);
void closeFile(int handle);

// True when the name exists; also true when it can't be told (the file may
// be there but out of reach). `error` gets the errno value, 0 on success.
bool fileExists(const XString& name, int* error);
bool fileExists(const char* utf8Name, int* error);

// Attribute bits as the component reports them. A file mode has room for
// only two of them: read-only is "no write bit for the owner" (S_IWUSR
// clear) and directory is S_ISDIR. Normal is reported when neither is set.
// Hidden, system, archive, temporary, compressed and the rest have no
// counterpart: they are never reported and are ignored when set.
constexpr uint32_t kAttrReadOnly = 0x01;
constexpr uint32_t kAttrDirectory = 0x10;
constexpr uint32_t kAttrNormal = 0x80;

// The attributes of a name (links followed). False when it can't be had;
// `error` (may be null) gets the errno value, 0 on success. Only an empty
// name is logged: "GetAttributes: filename is empty".
bool getAttributes(const XString& name, uint32_t& attributes, int* error, LogBase* log);
bool getAttributes(const char* utf8Name, uint32_t& attributes, int* error, LogBase* log);
// Sets the read-only state: set clears every write bit (a-w), clear gives
// the owner the write bit (u+w). The other bits are ignored.
bool setAttributes(const XString& name, uint32_t attributes);
bool setAttributes(const char* utf8Name, uint32_t attributes);

// The size, or -1 with "Failed to get file size (64)".
int64_t fileSize(int handle, LogBase* log);
// Opens, sizes and closes; `ok` (may be null) tells success; -1 on failure.
int64_t fileSizeByName(const XString& name, LogBase* log, bool* ok);
int64_t fileSizeByName(const char* utf8Name, LogBase* log, bool* ok);

bool deleteFile(const XString& name, LogBase* log);
bool deleteFile(const char* utf8Name, LogBase* log);

// Replaces the file with the n bytes; null data or n 0 makes an empty file.
bool writeWholeFile(const XString& name, const void* data, uint32_t n, LogBase* log);
bool writeWholeFile(const char* utf8Name, const void* data, uint32_t n, LogBase* log);

// The working directory as UTF-8; false (out emptied) when it can't be had.
bool currentDirectory(StringBuffer& out);
bool currentDirectory(XString& out);

}  // namespace zenvary
