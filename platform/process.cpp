// Child processes: the environment is the parent's with the ProcessRequest
// entries laid over it, the signal mask is cleared and SIGPIPE and SIGCHLD go
// back to their defaults, so a child doesn't inherit what the Panel ignores.
// A detached child is spawned into a session of its own; every other child is
// killed by the kernel when this process ends, however it ends. Our own descriptors are all
// close-on-exec; nothing else is passed. Forgotten processes sit in a small list until they are
// reaped.
#include "platform/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <mutex>
#include <thread>

extern char** environ;

namespace {

std::mutex forgottenLock;
std::vector<int> forgotten;

int StatusToCode(int status) {
  if (WIFEXITED(status))
    return WEXITSTATUS(status);
  if (WIFSIGNALED(status))
    return 128 + WTERMSIG(status);
  return -1;
}

std::vector<std::string> MergedEnvironment(const std::vector<std::string>& additions) {
  std::vector<std::string> env;
  for (char** e = environ; e != nullptr && *e != nullptr; ++e)
    env.emplace_back(*e);
  for (const std::string& add : additions) {
    std::size_t eq = add.find('=');
    if (eq == 0 || eq == std::string::npos)
      continue;
    std::string prefix = add.substr(0, eq + 1);
    bool replaced = false;
    for (std::string& e : env)
      if (e.compare(0, prefix.size(), prefix) == 0) {
        e = add;
        replaced = true;
        break;
      }
    if (!replaced)
      env.push_back(add);
  }
  return env;
}

// A signal handler: kills the caller's process group, the caller included.
void EndOwnGroup(int) {
  kill(0, SIGKILL);
}

// A child of its own session through posix_spawn: it outlives this process.
ProcessResult SpawnDetached(const ProcessRequest& request, std::vector<char*>& argv,
                            std::vector<char*>& envp) {
  ProcessResult result;
  posix_spawnattr_t attr;
  posix_spawnattr_init(&attr);
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  sigaddset(&defaults, SIGPIPE);
  sigaddset(&defaults, SIGCHLD);
  posix_spawnattr_setsigmask(&attr, &none);
  posix_spawnattr_setsigdefault(&attr, &defaults);
  posix_spawnattr_setflags(&attr,
                           POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  const int fds[3] = {request.inputFd, request.outputFd, request.errorFd};
  for (int i = 0; i < 3; ++i)
    if (fds[i] >= 0)
      posix_spawn_file_actions_adddup2(&actions, fds[i], i);
  pid_t pid = 0;
  bool searchPath = request.program.find('/') == std::string::npos;
  int rc =
      searchPath
          ? posix_spawnp(&pid, request.program.c_str(), &actions, &attr, argv.data(), envp.data())
          : posix_spawn(&pid, request.program.c_str(), &actions, &attr, argv.data(), envp.data());
  posix_spawnattr_destroy(&attr);
  posix_spawn_file_actions_destroy(&actions);
  if (rc != 0) {
    result.error = request.program + ": " + std::strerror(rc);
    return result;
  }
  result.pid = pid;
  result.group = true;
  return result;
}

} // namespace

ProcessResult ProcessStart(const ProcessRequest& request) {
  ProcessReap();
  ProcessResult result;
  if (request.program.empty() || request.program.find('\0') != std::string::npos) {
    result.error = "no program";
    return result;
  }
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(request.program.c_str()));
  for (const std::string& a : request.arguments)
    argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  std::vector<std::string> env = MergedEnvironment(request.environment);
  std::vector<char*> envp;
  for (std::string& e : env)
    envp.push_back(e.data());
  envp.push_back(nullptr);

  if (request.detach)
    return SpawnDetached(request, argv, envp);

  // A road's child ends with this process: it asks the kernel for SIGKILL
  // when its parent goes, which posix_spawn can't ask for, so it is forked.
  // Between fork and exec only async-signal-safe calls are made; an exec
  // that fails sends its errno back through a close-on-exec pipe.
  int report[2];
  if (pipe2(report, O_CLOEXEC) != 0) {
    result.error = std::string("pipe: ") + std::strerror(errno);
    return result;
  }
  bool searchPath = request.program.find('/') == std::string::npos;
  const int fds[3] = {request.inputFd, request.outputFd, request.errorFd};
  pid_t parent = getpid();
  pid_t pid = fork();
  if (pid == 0) {
    close(report[0]);
    signal(SIGPIPE, SIG_DFL);
    signal(SIGCHLD, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (request.ownGroup) {
      setpgid(0, 0);
      // The group's warden stays this process's child while the program runs
      // in its group below it; when this process goes, the warden ends the
      // whole group, helpers that the program started included.
      pid_t warden = getpid();
      pid_t program = fork();
      if (program < 0)
        _exit(127);
      if (program > 0) {
        struct sigaction end {};
        end.sa_handler = EndOwnGroup;
        sigaction(SIGTERM, &end, nullptr);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (getppid() != parent)
          EndOwnGroup(SIGTERM);
        close_range(0, ~0U, 0); // holds nothing of this process's open
        int status = 0;
        while (waitpid(program, &status, 0) < 0 && errno == EINTR) {
        }
        _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
      }
      parent = warden;
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) // the parent went before the request stood
      _exit(127);
    for (int i = 0; i < 3; ++i) {
      if (fds[i] == i)
        fcntl(i, F_SETFD, 0);
      else if (fds[i] >= 0)
        dup2(fds[i], i);
    }
    if (searchPath)
      execvpe(argv[0], argv.data(), envp.data());
    else
      execve(argv[0], argv.data(), envp.data());
    int why = errno;
    ssize_t ignored = write(report[1], &why, sizeof why);
    (void)ignored;
    _exit(127);
  }
  close(report[1]);
  if (pid < 0) {
    result.error = request.program + ": " + std::strerror(errno);
    close(report[0]);
    return result;
  }
  int why = 0;
  ssize_t got;
  do {
    got = read(report[0], &why, sizeof why);
  } while (got < 0 && errno == EINTR);
  close(report[0]);
  if (got == static_cast<ssize_t>(sizeof why)) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.error = request.program + ": " + std::strerror(why);
    return result;
  }
  result.pid = pid;
  result.group = request.detach || request.ownGroup;
  return result;
}

bool ProcessWait(ProcessResult* process, int timeoutMs) {
  if (process->pid <= 0)
    return false;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  auto pause = std::chrono::milliseconds(1);
  while (true) {
    int status = 0;
    pid_t got = waitpid(process->pid, &status, timeoutMs < 0 ? 0 : WNOHANG);
    if (got == process->pid) {
      process->exitCode = StatusToCode(status);
      return true;
    }
    if (got < 0 && errno != EINTR) {
      process->error = std::string("wait: ") + std::strerror(errno);
      return false;
    }
    if (timeoutMs >= 0 && std::chrono::steady_clock::now() >= deadline)
      return false;
    std::this_thread::sleep_for(pause);
    if (pause < std::chrono::milliseconds(20))
      pause *= 2;
  }
}

void ProcessKill(ProcessResult* process) {
  if (process->pid <= 0)
    return;
  if (process->group)
    kill(-process->pid, SIGKILL);
  kill(process->pid, SIGKILL);
  ProcessWait(process, -1);
}

ProcessResult ProcessRun(const ProcessRequest& request, int timeoutMs) {
  ProcessResult result = ProcessStart(request);
  if (result.pid > 0 && !ProcessWait(&result, timeoutMs) && result.error.empty())
    result.error = "still running";
  return result;
}

void ProcessForget(int pid) {
  if (pid <= 0)
    return;
  std::lock_guard<std::mutex> hold(forgottenLock);
  forgotten.push_back(pid);
}

void ProcessReap() {
  std::lock_guard<std::mutex> hold(forgottenLock);
  for (std::size_t i = 0; i < forgotten.size();) {
    int status = 0;
    pid_t got = waitpid(forgotten[i], &status, WNOHANG);
    if (got == forgotten[i] || (got < 0 && errno == ECHILD))
      forgotten.erase(forgotten.begin() + static_cast<std::ptrdiff_t>(i));
    else
      ++i;
  }
}

std::string ProcessCommandLine(const ProcessRequest& request) {
  auto quote = [](const std::string& s) {
    if (!s.empty() && s.find_first_of(" \t\"") == std::string::npos)
      return s;
    std::string q = "\"";
    for (char c : s) {
      if (c == '"' || c == '\\')
        q += '\\';
      q += c;
    }
    return q + "\"";
  };
  std::string line = quote(request.program);
  for (const std::string& a : request.arguments)
    line.append(" ").append(quote(a));
  return line;
}
