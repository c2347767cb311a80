// Resource limits, Landlock rules and the seccomp filter.
#include "peer/process/sandbox.h"

#include <fcntl.h>
#include <linux/capability.h>
#include <linux/landlock.h>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>

namespace qv::peer {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

bool failed(std::string& error, const char* what) {
  error = std::string(what) + ": " + std::strerror(errno);
  return false;
}

bool limit(__rlimit_resource resource, uint64_t most) {
  rlimit now{};
  if (getrlimit(resource, &now) != 0) return false;
  now.rlim_max = std::min<rlim_t>(now.rlim_max, most);
  now.rlim_cur = std::min<rlim_t>(now.rlim_cur, now.rlim_max);
  return setrlimit(resource, &now) == 0;
}

// Of the calling thread, and so of those that it starts.
bool dropCapabilities() {
  for (unsigned long one = 0; prctl(PR_CAPBSET_READ, one, 0, 0, 0) >= 0; ++one) {
    if (prctl(PR_CAPBSET_DROP, one, 0, 0, 0) != 0 && errno != EPERM) return false;
  }
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
  return syscall(SYS_capset, &header, none) == 0;
}

// --- Landlock ---

// Rights that came after the kernel headers of the oldest system that this is built on.
constexpr uint64_t kTruncate = uint64_t{1} << 14;
constexpr uint64_t kDeviceControl = uint64_t{1} << 15;

// All rights over files that a Landlock of this version can take away.
uint64_t rightsOf(int version) {
  uint64_t rights = (LANDLOCK_ACCESS_FS_MAKE_SYM << 1) - 1;
  if (version >= 2) rights |= LANDLOCK_ACCESS_FS_REFER;
  if (version >= 3) rights |= kTruncate;
  if (version >= 5) rights |= kDeviceControl;
  return rights;
}

constexpr uint64_t kReadFile = LANDLOCK_ACCESS_FS_READ_FILE;
constexpr uint64_t kRead = kReadFile | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr uint64_t kUseDevices = kRead | LANDLOCK_ACCESS_FS_WRITE_FILE | kDeviceControl;

// What an OpenGL opens while it starts and while it runs.
struct Place {
  const char* path;
  uint64_t rights;
};
constexpr Place kPlaces[] = {
    {"/usr", kRead},
    {"/lib", kRead},
    {"/lib32", kRead},
    {"/lib64", kRead},
    {"/etc/alternatives", kRead},
    {"/etc/drirc", kReadFile},
    {"/etc/glvnd", kRead},
    {"/etc/ld.so.cache", kReadFile},
    {"/etc/ld.so.preload", kReadFile},
    {"/sys", kRead},
    {"/proc/self", kRead},
    {"/proc/cpuinfo", kReadFile},
    {"/proc/meminfo", kReadFile},
    {"/proc/sys/vm", kRead},
    {"/dev/null", kReadFile},
    {"/dev/urandom", kReadFile},
    {"/dev/dri", kUseDevices},
};

// False when there is the place and no rule can be made for it.
bool allow(int rules, const char* path, uint64_t rights) {
  const int place = open(path, O_PATH | O_CLOEXEC);
  if (place < 0) return errno == ENOENT || errno == ENOTDIR || errno == EACCES;
  landlock_path_beneath_attr rule{};
  rule.parent_fd = place;
  rule.allowed_access = rights;
  const bool done = syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
  close(place);
  return done;
}

// Folders that the environment names for libraries and drivers, separated by colons.
bool allowNamed(int rules, const char* variable) {
  const char* const value = std::getenv(variable);
  std::string rest = value == nullptr ? "" : value;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(':'), rest.size());
    const std::string path = rest.substr(0, end);
    if (!path.empty() && path.front() == '/' && !allow(rules, path.c_str(), kRead)) return false;
    rest.erase(0, end + 1);
  }
  return true;
}

// --- seccomp ---

struct FilterEnd {
  void operator()(void* filter) const { seccomp_release(filter); }
};

// What threads, memory, clocks and the files at hand need.
constexpr int kAllowed[] = {
    // memory
    SCMP_SYS(brk), SCMP_SYS(mmap), SCMP_SYS(munmap), SCMP_SYS(mremap), SCMP_SYS(mprotect), SCMP_SYS(madvise), SCMP_SYS(mlock),
    SCMP_SYS(munlock), SCMP_SYS(membarrier), SCMP_SYS(memfd_create), SCMP_SYS(mincore),
    // threads
    SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(get_robust_list), SCMP_SYS(rseq), SCMP_SYS(set_tid_address),
    SCMP_SYS(gettid), SCMP_SYS(getpid), SCMP_SYS(getppid), SCMP_SYS(getuid), SCMP_SYS(geteuid), SCMP_SYS(getgid),
    SCMP_SYS(getegid), SCMP_SYS(sched_yield), SCMP_SYS(sched_getaffinity), SCMP_SYS(sched_getparam),
    SCMP_SYS(sched_getscheduler), SCMP_SYS(getcpu), SCMP_SYS(exit), SCMP_SYS(exit_group), SCMP_SYS(restart_syscall),
    SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack), SCMP_SYS(arch_prctl),
    // clocks and facts
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres), SCMP_SYS(gettimeofday), SCMP_SYS(time), SCMP_SYS(nanosleep),
    SCMP_SYS(clock_nanosleep), SCMP_SYS(getrandom), SCMP_SYS(uname), SCMP_SYS(sysinfo), SCMP_SYS(getrusage),
    // files that are open, and a look at others
    SCMP_SYS(read), SCMP_SYS(readv), SCMP_SYS(pread64), SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(pwrite64), SCMP_SYS(close),
    SCMP_SYS(close_range), SCMP_SYS(lseek), SCMP_SYS(fstat), SCMP_SYS(stat), SCMP_SYS(lstat), SCMP_SYS(newfstatat),
    SCMP_SYS(statx), SCMP_SYS(statfs), SCMP_SYS(fstatfs), SCMP_SYS(access), SCMP_SYS(faccessat), SCMP_SYS(faccessat2),
    SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(getcwd), SCMP_SYS(getdents64), SCMP_SYS(ftruncate), SCMP_SYS(dup),
    SCMP_SYS(dup2), SCMP_SYS(dup3), SCMP_SYS(eventfd2), SCMP_SYS(pipe2),
    // the guest's messages
    SCMP_SYS(recvmsg), SCMP_SYS(sendmsg), SCMP_SYS(recvfrom), SCMP_SYS(sendto), SCMP_SYS(poll), SCMP_SYS(ppoll),
    SCMP_SYS(shutdown),
};

bool addRules(void* filter) {
  bool added = true;
  const auto permit = [&](int call, std::initializer_list<scmp_arg_cmp> arguments) {
    added = added &&
            seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call, static_cast<unsigned>(arguments.size()), arguments.begin()) == 0;
  };
  for (const int call : kAllowed) permit(call, {});
  // Files only for reading.
  constexpr uint64_t kWriting = O_ACCMODE | O_CREAT | O_TRUNC;
  permit(SCMP_SYS(open), {SCMP_A1(SCMP_CMP_MASKED_EQ, kWriting, O_RDONLY)});
  permit(SCMP_SYS(openat), {SCMP_A2(SCMP_CMP_MASKED_EQ, kWriting, O_RDONLY)});
  // Seals and flags of files; no locks, leases or owners of signals.
  for (const int command : {F_GETFD, F_SETFD, F_GETFL, F_SETFL, F_DUPFD, F_DUPFD_CLOEXEC, F_ADD_SEALS, F_GET_SEALS})
    permit(SCMP_SYS(fcntl), {SCMP_A1(SCMP_CMP_EQ, static_cast<uint64_t>(command))});
  // Threads are no processes. Of clone3 a filter sees no flags: without it the C library uses clone.
  permit(SCMP_SYS(clone), {SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD)});
  added = added && seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0) == 0;
  // A process may end itself by a signal.
  permit(SCMP_SYS(tgkill), {SCMP_A0(SCMP_CMP_EQ, static_cast<uint64_t>(getpid()))});
  permit(SCMP_SYS(prlimit64), {SCMP_A0(SCMP_CMP_EQ, 0), SCMP_A2(SCMP_CMP_EQ, 0)});
  permit(SCMP_SYS(prctl), {SCMP_A0(SCMP_CMP_EQ, PR_SET_NAME)});
  permit(SCMP_SYS(prctl), {SCMP_A0(SCMP_CMP_EQ, PR_GET_NAME)});
  permit(SCMP_SYS(prctl), {SCMP_A0(SCMP_CMP_EQ, PR_SET_VMA)});
  // Graphics devices: the kernel's direct rendering calls have the type 'd'.
  permit(SCMP_SYS(ioctl), {SCMP_A1(SCMP_CMP_MASKED_EQ, 0xFF00, 'd' << 8)});
  return added;
}

}  // namespace

bool limitResources(const ProcessLimits& limits, std::string& error) {
  if (!limit(RLIMIT_CORE, 0)) return failed(error, "no limit for core dumps");
  if (!limit(RLIMIT_NOFILE, limits.files)) return failed(error, "no limit for files");
  if (!limit(RLIMIT_NPROC, limits.tasks)) return failed(error, "no limit for tasks");
  if (!limit(RLIMIT_FSIZE, 1u << 30)) return failed(error, "no limit for the size of files");
  if (!kSanitized && !limit(RLIMIT_DATA, limits.memoryBytes)) return failed(error, "no limit for memory");
  if (!dropCapabilities()) return failed(error, "capabilities cannot be given up");
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) return failed(error, "no giving up of privileges");
  // Only a wish, and not everybody has the file.
  if (const int file = open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC); file >= 0) {
    [[maybe_unused]] const ssize_t written = write(file, "500", 3);
    close(file);
  }
  return true;
}

bool restrictFiles(std::string& error) {
  const long version = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  if (version < 1) return failed(error, "the kernel has no Landlock");
  landlock_ruleset_attr attributes{};
  attributes.handled_access_fs = rightsOf(static_cast<int>(version));
  const int rules = static_cast<int>(syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes, 0));
  if (rules < 0) return failed(error, "Landlock takes no rules");
  bool allowed = true;
  for (const Place& place : kPlaces) allowed = allowed && allow(rules, place.path, place.rights & attributes.handled_access_fs);
  for (const char* const variable : {"LD_LIBRARY_PATH", "LIBGL_DRIVERS_PATH", "__EGL_VENDOR_LIBRARY_DIRS"})
    allowed = allowed && allowNamed(rules, variable);
  if (!allowed) failed(error, "Landlock refuses a rule");
  if (allowed && syscall(SYS_landlock_restrict_self, rules, 0) != 0) allowed = failed(error, "Landlock does not restrict");
  close(rules);
  return allowed;
}

bool restrictCalls(std::string& error) {
  prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
  const std::unique_ptr<void, FilterEnd> filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
  if (filter == nullptr) {
    error = "no seccomp filter";
    return false;
  }
  // Threads of the OpenGL are running already.
  int result = seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_TSYNC, 1);
  if (result == 0 && !addRules(filter.get())) result = -EINVAL;
  if (result == 0) result = seccomp_load(filter.get());
  if (result == 0) return true;
  error = std::string("the kernel takes no seccomp filter: ") + std::strerror(-result);
  return false;
}

}  // namespace qv::peer
