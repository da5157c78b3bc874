#include "base/file_io.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/error.h"

namespace quillet {

namespace {
std::string SysMessage(const char* What, const std::string& FileName, int Err) {
  return std::string(What) + " \"" + FileName + "\": " + std::strerror(Err);
}
}  // namespace

std::string ReadWholeFile(const std::string& FileName) {
  const int fd = ::open(FileName.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw EQuilletError(SysMessage("Cannot open file", FileName, errno), FileName);
  struct stat st {};
  if (::fstat(fd, &st) == 0 && S_ISDIR(st.st_mode)) {
    ::close(fd);
    throw EQuilletError(SysMessage("Cannot read file", FileName, EISDIR), FileName);
  }
  std::string out;
  if (st.st_size > 0) out.reserve(static_cast<size_t>(st.st_size));
  char buf[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buf, sizeof buf);
    if (n < 0) {
      if (errno == EINTR) continue;
      const int err = errno;
      ::close(fd);
      throw EQuilletError(SysMessage("Cannot read file", FileName, err), FileName);
    }
    if (n == 0) break;
    out.append(buf, static_cast<size_t>(n));
  }
  ::close(fd);
  return out;
}

void WriteFileAtomic(const std::string& FileName, std::string_view Bytes) {
  std::string tmp = FileName + ".XXXXXX.tmp";
  const int fd = ::mkstemps(tmp.data(), 4);
  if (fd < 0) throw EQuilletError(SysMessage("Cannot write file", FileName, errno), FileName);
  const char* p = Bytes.data();
  size_t left = Bytes.size();
  int err = 0;
  while (left > 0) {
    const ssize_t n = ::write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      err = errno;
      break;
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  if (err == 0 && ::fsync(fd) != 0) err = errno;
  // mkstemps creates the file 0600: keep the mode of the file being replaced, else rw-r--r--.
  if (err == 0) {
    struct stat st {};
    const mode_t mode = ::stat(FileName.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
    ::fchmod(fd, mode);
  }
  if (::close(fd) != 0 && err == 0) err = errno;
  if (err == 0 && ::rename(tmp.c_str(), FileName.c_str()) != 0) err = errno;
  if (err != 0) {
    ::unlink(tmp.c_str());
    throw EQuilletError(SysMessage("Cannot write file", FileName, err), FileName);
  }
}

}  // namespace quillet
