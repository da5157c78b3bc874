#include "base/platform.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace quillet {

namespace {

// A folder named by an environment variable; only absolute values count.
std::string FolderFromEnv(const char* Name) {
  const char* v = std::getenv(Name);
  if (!v || v[0] != '/') return {};
  return WithTrailingSlash(v);
}

std::string UserFolder(const char* XdgName, const char* UnderHome) {
  std::string dir = FolderFromEnv(XdgName);
  if (!dir.empty()) return dir;
  dir = FolderFromEnv("HOME");
  return dir.empty() ? dir : dir + UnderHome + "/";
}

// What the grandchild reports back through the pipe when it cannot run the program.
struct TStartFailure {
  int Stage;  // 0 fork, 1 working folder, 2 exec
  int Err;
};

}  // namespace

std::string WithTrailingSlash(std::string Folder) {
  if (!Folder.empty() && Folder.back() != '/') Folder += '/';
  return Folder;
}

std::string FolderOf(const std::string& Path) {
  const auto slash = Path.rfind('/');
  return slash == std::string::npos ? std::string() : Path.substr(0, slash + 1);
}

std::string ParentFolder(const std::string& Folder) {
  std::string f = Folder;
  while (f.size() > 1 && f.back() == '/') f.pop_back();
  if (f == "/") return f;
  const std::string parent = FolderOf(f);
  return parent.empty() ? std::string("./") : parent;
}

std::string ExecutableFolder() {
  std::error_code ec;
  const auto exe = std::filesystem::read_symlink("/proc/self/exe", ec);
  return ec ? std::string() : FolderOf(exe.string());
}

std::string ModuleFolder(const void* Address) {
  Dl_info info{};
  link_map* map = nullptr;
  if (!::dladdr1(Address, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map) return {};
  // The main program's entry has no name of its own (dladdr reports argv[0] for it, which may
  // be relative to a folder long left), so its file comes from /proc.
  if (!map->l_name || !map->l_name[0]) return ExecutableFolder();
  std::error_code ec;
  const auto real = std::filesystem::canonical(map->l_name, ec);
  return FolderOf(ec ? std::string(map->l_name) : real.string());
}

bool IsExistingFile(const std::string& Path) {
  struct stat st {};
  return !Path.empty() && ::stat(Path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode);
}

std::string UserConfigFolder() { return UserFolder("XDG_CONFIG_HOME", ".config"); }
std::string UserCacheFolder() { return UserFolder("XDG_CACHE_HOME", ".cache"); }

std::string QuilletConfigFile(const std::string& Name) {
  const std::string config = UserConfigFolder();
  return config.empty() ? std::string() : config + "Quillet/" + Name;
}

std::string FindOnPath(const std::string& Name) {
  const char* path = std::getenv("PATH");
  if (!path || Name.empty() || Name.find('/') != std::string::npos) return {};
  const std::string list = path;
  size_t start = 0;
  while (start <= list.size()) {
    size_t end = list.find(':', start);
    if (end == std::string::npos) end = list.size();
    // An empty entry would mean the current folder, which is no place to pick programs from.
    if (end > start) {
      const std::string candidate = WithTrailingSlash(list.substr(start, end - start)) + Name;
      if (IsExistingFile(candidate) && ::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    start = end + 1;
  }
  return {};
}

std::string StartDetached(const std::string& Program, const std::vector<std::string>& Args,
                          const std::string& WorkDir) {
  // Everything the children use is made before fork: after it, a multi-threaded caller's child
  // may only make async-signal-safe calls.
  std::vector<std::string> strings;
  strings.reserve(Args.size() + 1);
  strings.push_back(Program);
  strings.insert(strings.end(), Args.begin(), Args.end());
  std::vector<char*> argv;
  for (std::string& s : strings) argv.push_back(s.data());
  argv.push_back(nullptr);
  const char* dir = WorkDir.empty() ? nullptr : WorkDir.c_str();

  int report[2];
  if (::pipe2(report, O_CLOEXEC) != 0) return std::strerror(errno);
  const pid_t middle = ::fork();
  if (middle < 0) {
    const int err = errno;
    ::close(report[0]);
    ::close(report[1]);
    return std::strerror(err);
  }
  if (middle == 0) {
    // The middle child starts the program and leaves at once, so the program is adopted by
    // init (or the session's subreaper) and the caller only waits for this short-lived child.
    ::close(report[0]);
    ::setsid();
    const pid_t program = ::fork();
    if (program != 0) {
      if (program < 0) {
        const TStartFailure f{0, errno};
        (void)!::write(report[1], &f, sizeof f);
      }
      ::_exit(0);
    }
    TStartFailure f{1, 0};
    if (dir && ::chdir(dir) != 0) {
      f.Err = errno;
    } else {
      const int null = ::open("/dev/null", O_RDONLY);
      if (null >= 0 && null != 0) {
        ::dup2(null, 0);
        ::close(null);
      }
      sigset_t none;
      sigemptyset(&none);
      ::sigprocmask(SIG_SETMASK, &none, nullptr);
      ::signal(SIGPIPE, SIG_DFL);
      ::execv(argv[0], argv.data());
      f = {2, errno};
    }
    (void)!::write(report[1], &f, sizeof f);
    ::_exit(127);
  }
  ::close(report[1]);
  int status = 0;
  while (::waitpid(middle, &status, 0) < 0 && errno == EINTR) {
  }
  // The pipe reaches its end when the program's exec closes the last copy of the write side, or
  // carries the reason it failed.
  TStartFailure f{};
  ssize_t n;
  while ((n = ::read(report[0], &f, sizeof f)) < 0 && errno == EINTR) {
  }
  ::close(report[0]);
  if (n != static_cast<ssize_t>(sizeof f)) return {};
  if (f.Stage == 1) return "cannot enter folder \"" + WorkDir + "\": " + std::strerror(f.Err);
  return std::strerror(f.Err);
}

}  // namespace quillet
