// Helpers of the tests that run real programs on a virtual display: waiting
// for processes, screenshots of the root window and the colours in them.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <sys/types.h>

// True when the process ended within wait; its exit status into status.
bool Ended(pid_t pid, std::chrono::seconds wait, int* status = nullptr);
// SIGTERM, then SIGKILL when it doesn't end; reaps it.
void Stop(pid_t pid);
// screenshots/<name> at the top of the source tree (made when missing).
std::filesystem::path ShotPath(const std::string& name);
bool Screenshot(const std::filesystem::path& file);
// The mean colour (0xRRGGBB) of a box of a picture, or ~0u when unreadable.
unsigned MeanColour(const std::filesystem::path& picture, int x, int y, int w, int h);
// Each channel within 12 of the other's.
bool Near(unsigned a, unsigned b);
// Takes screenshots into file until the box shows the colour or wait passed.
// Result: the last colour seen.
unsigned AwaitColour(const std::filesystem::path& file, unsigned colour, int x, int y, int w, int h,
                     std::chrono::seconds wait);
std::string Hex(unsigned colour);
