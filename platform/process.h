// Child processes: the one way the system starts another program (the
// browser program, ffmpeg). No shell is involved: the program gets exactly
// the argument vector given, so a path with blanks is one argument.
#pragma once

#include <string>
#include <vector>

struct ProcessRequest {
  // A path, or a bare name looked up on PATH.
  std::string program;
  // argv[1..]; argv[0] is program.
  std::vector<std::string> arguments;
  // "NAME=value" entries laid over the inherited environment.
  std::vector<std::string> environment;
  // Own session: the child outlives this process's terminal and signals
  // (Panes live on after the Panel). Any other child is killed (SIGKILL) when
  // this process ends, by exit or by a kill, so no tool writes on for a
  // program that is gone. The kernel ties it to the thread that started it:
  // such a child is started by the thread that waits for it. Helpers the
  // child starts itself end with it only in a group of its own (ownGroup).
  bool detach = false;
  // A process group of its own: ProcessKill then ends the children it
  // started too (a resolver that runs helpers of its own), and so does the
  // end of this process. The group is led by a small warden process (the pid
  // given) with the program below it; its exit code is the program's.
  bool ownGroup = false;
  // Descriptors the child gets as its standard input, output and error; -1
  // leaves it this process's own. The caller keeps and closes them.
  int inputFd = -1;
  int outputFd = -1;
  int errorFd = -1;
};

struct ProcessResult {
  int pid = 0;        // 0 when nothing started
  int exitCode = -1;  // the exit status once waited for; 128 + signal when killed
  std::string error;  // why nothing started, or why the wait failed
  bool group = false; // the child leads a process group of its own
};

// Where the child's standard output and error go: a file, made or emptied
// ("/dev/null" silences it); empty: inherited.
struct ProcessOutput {
  std::string outputPath;
  std::string errorPath;
};

// Starts the program and returns at once. A missing or non-executable program
// gives pid 0 and the reason in error.
ProcessResult ProcessStart(const ProcessRequest& request);
ProcessResult ProcessStart(const ProcessRequest& request, const ProcessOutput& output);

// Waits at most timeoutMs (negative: for ever) for the process to end. True
// when it ended; exitCode is then filled and the process is reaped.
bool ProcessWait(ProcessResult* process, int timeoutMs);

// Ends a started process at once (SIGKILL) and reaps it; exitCode is then
// 128 + 9.
void ProcessKill(ProcessResult* process);

// Ends a started process at once (SIGKILL) and reaps it; exitCode is then
// 128 + 9.
void ProcessKill(ProcessResult* process);

// Start, then wait at most timeoutMs.
ProcessResult ProcessRun(const ProcessRequest& request, int timeoutMs);

// Leaves a started process to run on its own; it is reaped by a later
// ProcessStart or ProcessReap once it ends, so no zombie stays.
void ProcessForget(int pid);
void ProcessReap();

// The command line as text, for status lines and tests: program and
// arguments joined by blanks, an argument with blanks or quotes in double
// quotes. Never run through a shell.
std::string ProcessCommandLine(const ProcessRequest& request);
