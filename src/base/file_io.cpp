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
  TAtomicFileWriter out(FileName);
  out.Write(Bytes);
  out.Commit();
}

TAtomicFileWriter::TAtomicFileWriter(std::string FileName) : FFileName(std::move(FileName)) {
  // A folder in the way would only show when the finished file is renamed onto it.
  struct stat target {};
  if (::stat(FFileName.c_str(), &target) == 0 && S_ISDIR(target.st_mode))
    throw EQuilletError(SysMessage("Cannot write file", FFileName, EISDIR), FFileName);
  std::string tmp = FFileName + ".XXXXXX.tmp";
  FFd = ::mkostemps(tmp.data(), 4, O_CLOEXEC);
  if (FFd < 0) throw EQuilletError(SysMessage("Cannot write file", FFileName, errno), FFileName);
  FTempName = std::move(tmp);
}

TAtomicFileWriter::~TAtomicFileWriter() {
  if (FFd >= 0) ::close(FFd);
  if (!FTempName.empty()) ::unlink(FTempName.c_str());
}

void TAtomicFileWriter::Fail(int Err) {
  if (FFd >= 0) ::close(FFd);
  FFd = -1;
  if (!FTempName.empty()) ::unlink(FTempName.c_str());
  FTempName.clear();
  throw EQuilletError(SysMessage("Cannot write file", FFileName, Err), FFileName);
}

void TAtomicFileWriter::Write(std::string_view Bytes) {
  if (FFd < 0) throw EQuilletError(SysMessage("Cannot write file", FFileName, EBADF), FFileName);
  const char* p = Bytes.data();
  size_t left = Bytes.size();
  while (left > 0) {
    const ssize_t n = ::write(FFd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      Fail(errno);
    }
    p += n;
    left -= static_cast<size_t>(n);
  }
  FPosition += Bytes.size();
}

void TAtomicFileWriter::Commit() {
  if (FFd < 0) throw EQuilletError(SysMessage("Cannot write file", FFileName, EBADF), FFileName);
  if (::fsync(FFd) != 0) Fail(errno);
  // mkstemps creates the file 0600: keep the mode of the file being replaced, else rw-r--r--.
  struct stat st {};
  const mode_t mode = ::stat(FFileName.c_str(), &st) == 0 ? (st.st_mode & 07777) : 0644;
  ::fchmod(FFd, mode);
  const int fd = FFd;
  FFd = -1;
  if (::close(fd) != 0) {
    const int err = errno;
    ::unlink(FTempName.c_str());
    FTempName.clear();
    throw EQuilletError(SysMessage("Cannot write file", FFileName, err), FFileName);
  }
  if (::rename(FTempName.c_str(), FFileName.c_str()) != 0) {
    const int err = errno;
    ::unlink(FTempName.c_str());
    FTempName.clear();
    throw EQuilletError(SysMessage("Cannot write file", FFileName, err), FFileName);
  }
  FTempName.clear();
}

}  // namespace quillet
