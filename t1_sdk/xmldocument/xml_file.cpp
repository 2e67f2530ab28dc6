// XML document: whole documents from files and into them.
#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <limits>
#include <memory>

#include "t1_sdk/xmldocument/xml_document.h"

namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Opens a file; the other end of a pipe is not waited for, neither now nor when it does not read.
File open_file(const char* name, int flags, const char* mode) {
  constexpr mode_t kPermissions = 0666;  // less what the process leaves out
  const int fd = name == nullptr ? -1 : open(name, flags | O_NONBLOCK | O_CLOEXEC, kPermissions);
  std::FILE* const stream = fd < 0 ? nullptr : fdopen(fd, mode);
  if (fd >= 0 && stream == nullptr) close(fd);
  return {stream, &std::fclose};
}

/// Reads a whole file; false when it has no size, is too large, or ends before its size.
bool read_whole(const char* name, std::string& text) {
  const File file = open_file(name, O_RDONLY, "rb");
  if (file == nullptr || std::fseek(file.get(), 0, SEEK_END) != 0) return false;
  const long size = std::ftell(file.get());
  if (size < 0 || size >= std::numeric_limits<int>::max() || std::fseek(file.get(), 0, SEEK_SET) != 0) {
    return false;
  }
  text.resize(static_cast<std::size_t>(size));
  return std::fread(text.data(), 1, text.size(), file.get()) == text.size();
}

}  // namespace

bool XmlDocument::Load(const char* szFileName) {
  std::string text;
  std::string error;
  if (read_whole(szFileName, text)) {
    if (SetDoc(text.c_str())) return true;
    error = m_strError;
  }
  SetDoc(nullptr);
  m_strError = error;  // it is the last parse error, and no parse that succeeded has followed it
  return false;
}

bool XmlDocument::Save(const char* szFileName) const {
  File file = open_file(szFileName, O_WRONLY | O_CREAT | O_TRUNC, "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(m_strDoc.data(), 1, m_strDoc.size(), file.get()) == m_strDoc.size();
  return std::fclose(file.release()) == 0 && written;  // what is still in the buffer is written now
}
