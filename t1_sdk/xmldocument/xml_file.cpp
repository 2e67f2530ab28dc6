// XML document: whole documents from files and into them.
#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <limits>
#include <memory>

#include "t1_sdk/xmldocument/xml_document.h"

namespace {

using File = std::unique_ptr<std::FILE, decltype(&std::fclose)>;

/// Opens a file to read; a pipe without a writer is not waited for.
File open_to_read(const char* name) {
  const int fd = name == nullptr ? -1 : open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  std::FILE* const stream = fd < 0 ? nullptr : fdopen(fd, "rb");
  if (fd >= 0 && stream == nullptr) close(fd);
  return {stream, &std::fclose};
}

/// Reads a whole file; false when it has no size, is too large, or ends before its size.
bool read_whole(const char* name, std::string& text) {
  const File file = open_to_read(name);
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
  if (read_whole(szFileName, text) && SetDoc(text.c_str())) return true;
  SetDoc(nullptr);
  return false;
}

bool XmlDocument::Save(const char* szFileName) const {
  if (szFileName == nullptr) return false;
  std::FILE* const file = std::fopen(szFileName, "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(m_strDoc.data(), 1, m_strDoc.size(), file) == m_strDoc.size();
  return std::fclose(file) == 0 && written;  // what is still in the buffer is written now
}
