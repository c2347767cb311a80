// What a guest's process can no longer do once its walls are up, each thing tried from inside.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "peer/host/egl_display.h"
#include "peer/process/sandbox.h"
#include "peer/replay/gl_functions.h"

namespace qv::peer::test {
namespace {

constexpr int kNotUp = 250;  // the walls could not be raised

// The errno of a call that fails, 0 of one that does not.
int errorOf(long result) { return result < 0 ? errno : 0; }

// Exit status of a process that raises its walls around a started OpenGL and then does `attempt`; its signal + 1000 when one
// ended it.
int inside(const std::function<int()>& attempt, const ProcessLimits& limits = {}) {
  const pid_t child = fork();
  if (child == 0) {
    std::string error;
    if (!limitResources(limits, error) || !restrictFiles(error) || EglDisplay::get(&error) == nullptr || !restrictCalls(error)) {
      std::fprintf(stderr, "%s\n", error.c_str());
      _exit(kNotUp);
    }
    _exit(attempt());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

// No program can be started.
TEST(Sandbox, NoPrograms) {
  EXPECT_EQ(inside([] {
              char name[] = "/bin/true";
              char* const arguments[] = {name, nullptr};
              return errorOf(execv(name, arguments));
            }),
            EPERM);
}

// No process can be started, whatever way is taken.
TEST(Sandbox, NoProcesses) {
  EXPECT_EQ(inside([] { return errorOf(fork()); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_vfork)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_clone, SIGCHLD, nullptr, nullptr, nullptr, nullptr)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_clone3, nullptr, 0)); }), ENOSYS);
}

// Threads can be started.
TEST(Sandbox, ThreadsAreLeft) {
  EXPECT_EQ(inside([] {
              int done = 1;
              std::thread([&] { done = 0; }).join();
              return done;
            }),
            0);
}

// No socket can be made or connected.
TEST(Sandbox, NoSockets) {
  for (const int family : {AF_UNIX, AF_INET, AF_INET6, AF_NETLINK, AF_PACKET})
    EXPECT_EQ(inside([=] { return errorOf(socket(family, SOCK_DGRAM, 0)); }), EPERM) << family;
  EXPECT_EQ(inside([] {
              int ends[2];
              return errorOf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
            }),
            EPERM);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
  EXPECT_EQ(inside([&] {
              sockaddr_un address{};
              address.sun_family = AF_UNIX;
              return errorOf(connect(ends[0], reinterpret_cast<const sockaddr*>(&address), sizeof address));
            }),
            EPERM);
  // The one it has goes on working.
  EXPECT_EQ(inside([&] { return send(ends[0], "x", 1, 0) == 1 ? 0 : errno; }), 0);
  close(ends[0]);
  close(ends[1]);
}

// No other process can be traced, read or signalled; the process's own threads can be.
TEST(Sandbox, NoReachToOthers) {
  const pid_t parent = getpid();
  EXPECT_EQ(inside([=] { return errorOf(ptrace(PTRACE_ATTACH, parent, nullptr, nullptr)); }), EPERM);
  EXPECT_EQ(inside([=] { return errorOf(kill(parent, 0)); }), EPERM);
  EXPECT_EQ(inside([=] { return errorOf(syscall(SYS_tgkill, parent, parent, 0)); }), EPERM);
  EXPECT_EQ(inside([=] { return errorOf(syscall(SYS_tkill, parent, 0)); }), EPERM);
  EXPECT_EQ(inside([=] { return errorOf(syscall(SYS_pidfd_open, parent, 0)); }), EPERM);
  EXPECT_EQ(inside([=] {
              char here = 0;
              const iovec local{&here, 1}, remote{&here, 1};
              return errorOf(process_vm_readv(parent, &local, 1, &remote, 1, 0));
            }),
            EPERM);
  EXPECT_EQ(inside([=] { return errorOf(setpriority(PRIO_PROCESS, static_cast<id_t>(parent), 5)); }), EPERM);
  EXPECT_EQ(inside([=] {
              const rlimit none{};
              return errorOf(prlimit(parent, RLIMIT_CORE, &none, nullptr));
            }),
            EPERM);
  EXPECT_EQ(inside([] {
              signal(SIGABRT, SIG_DFL);
              return errorOf(raise(SIGABRT));
            }),
            1000 + SIGABRT);
}

// No file can be opened for writing, made, changed or removed, wherever it is.
TEST(Sandbox, NoWriting) {
  char name[] = "/tmp/qv-sandbox-test-XXXXXX";
  const int file = mkstemp(name);
  ASSERT_GE(file, 0);
  const std::string path = name;
  for (const int flags : {O_WRONLY, O_RDWR, O_WRONLY | O_APPEND, O_RDONLY | O_CREAT, O_RDONLY | O_TRUNC}) {
    EXPECT_EQ(inside([&] { return errorOf(open(path.c_str(), flags, 0600)); }), EPERM) << flags;
    EXPECT_EQ(inside([&] { return errorOf(syscall(SYS_open, path.c_str(), flags, 0600)); }), EPERM) << flags;
  }
  EXPECT_EQ(inside([&] { return errorOf(open("/dev/null", O_WRONLY)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(syscall(SYS_openat2, AT_FDCWD, path.c_str(), nullptr, 0)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(creat((path + "x").c_str(), 0600)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(unlink(path.c_str())); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(rename(path.c_str(), (path + "x").c_str())); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(mkdir((path + "x").c_str(), 0700)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(chmod(path.c_str(), 0777)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(truncate(path.c_str(), 0)); }), EPERM);
  EXPECT_EQ(inside([&] { return errorOf(symlink(path.c_str(), (path + "x").c_str())); }), EPERM);
  close(file);
  unlink(name);
}

// Files outside the folders of libraries and devices cannot be read, where the kernel has Landlock.
TEST(Sandbox, NoReadingElsewhere) {
  std::string error;
  const pid_t child = fork();
  if (child == 0) _exit(restrictFiles(error) ? 0 : 1);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) GTEST_SKIP() << "the kernel has no Landlock";
  char name[] = "/tmp/qv-sandbox-test-XXXXXX";
  const int file = mkstemp(name);
  ASSERT_GE(file, 0);
  for (const char* const path : {static_cast<const char*>(name), "/etc/passwd", "/etc/shadow", "/proc/1/status", "/"})
    EXPECT_EQ(inside([=] { return errorOf(open(path, O_RDONLY)); }), EACCES) << path;
  EXPECT_EQ(inside([] { return errorOf(open("/usr/bin/env", O_RDONLY)); }) , 0);
  EXPECT_EQ(inside([] { return errorOf(open("/proc/self/maps", O_RDONLY)); }), 0);
  close(file);
  unlink(name);
}

// No privilege is left and none can be had.
TEST(Sandbox, NoPrivileges) {
  EXPECT_EQ(inside([] { return errorOf(mount("none", "/tmp", "tmpfs", 0, nullptr)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(setuid(0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(unshare(CLONE_NEWUSER)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(chroot("/tmp")); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(prctl(PR_SET_DUMPABLE, 1, 0, 0, 0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(prctl(PR_SET_PDEATHSIG, 0, 0, 0, 0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_seccomp, 0, 0, nullptr)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_bpf, 0, nullptr, 0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_keyctl, 0, 0, 0, 0, 0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_io_uring_setup, 1, nullptr)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(syscall(SYS_userfaultfd, 0)); }), EPERM);
}

// Limits hold: files, memory, core dumps; none can be raised again.
TEST(Sandbox, LimitsHold) {
  ProcessLimits limits;
  limits.files = 64;
  limits.memoryBytes = 600u << 20;
  EXPECT_EQ(inside(
                [] {
                  int last = 0;
                  while ((last = dup(0)) >= 0 && last < 1000) {
                  }
                  return errorOf(last);
                },
                limits),
            EMFILE);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_EQ(inside(
                [] {
                  void* const memory = mmap(nullptr, 700u << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
                  return memory == MAP_FAILED ? errno : 0;
                },
                limits),
            ENOMEM);
#endif
  EXPECT_EQ(inside([] {
              rlimit now{};
              getrlimit(RLIMIT_CORE, &now);
              return now.rlim_cur == 0 && now.rlim_max == 0 ? 0 : 1;
            }),
            0);
  EXPECT_EQ(inside([] {
              const rlimit more{100000, 100000};
              return errorOf(setrlimit(RLIMIT_NOFILE, &more));
            }),
            EPERM);
}

// OpenGL works inside: a context is made, draws with a program of its own and reads the picture back.
TEST(Sandbox, GlWorks) {
  EXPECT_EQ(inside([] {
              const EglDisplay& display = *EglDisplay::get();
              DrawableAttributes attributes;
              attributes.profileMask = 2;
              attributes.version = 210;
              const EGLSurface surface = display.createSurface(attributes, 16, 16);
              const EGLContext context = display.createContext(attributes, EGL_NO_CONTEXT);
              if (!display.makeCurrent(surface, context)) return 1;
              const GLuint shader = gl.glCreateShader(GL_FRAGMENT_SHADER);
              const char* const source = "void main() { gl_FragColor = vec4(0.0, 1.0, 0.0, 1.0); }";
              gl.glShaderSource(shader, 1, &source, nullptr);
              gl.glCompileShader(shader);
              const GLuint program = gl.glCreateProgram();
              gl.glAttachShader(program, shader);
              gl.glLinkProgram(program);
              gl.glUseProgram(program);
              gl.glRecti(-1, -1, 1, 1);
              uint32_t pixel = 0;
              gl.glReadPixels(8, 8, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, &pixel);
              return pixel == 0xFF00FF00u && gl.glGetError() == 0 ? 0 : 2;
            }),
            0);
}

}  // namespace
}  // namespace qv::peer::test
