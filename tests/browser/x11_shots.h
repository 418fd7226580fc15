// Helpers of the tests that run real programs on a virtual display: processes started and
// awaited, the colours the screen shows, the Flash files and clips they play.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

// Starts exe with args and env ("NAME=value") over this environment, stderr into log; -1 if not.
pid_t Spawn(const std::string& exe, const std::vector<std::string>& args,
            const std::vector<std::string>& env, const std::string& log);

// True when the child ended within wait (its status into status). A child
// once reaped stays ended: its number may already belong to another process.
bool Ended(pid_t pid, std::chrono::milliseconds wait, int* status = nullptr);
// SIGTERM, then SIGKILL when it doesn't end; never signals a reaped child.
void Stop(pid_t pid);
// Keeps a picture of the screen as screenshots/<name> at the top of the source tree.
void KeepShot(const std::string& name);
// The mean colour (0xRRGGBB) of a box of the screen, or ~0u when unreadable.
unsigned ScreenColour(int x, int y, int w, int h);
// Each channel within 12 of the other's.
bool Near(unsigned a, unsigned b);
// Polls the box until its colour is good or wait passed; the last colour seen.
unsigned AwaitScreen(int x, int y, int w, int h, std::chrono::seconds wait,
                     const std::function<bool(unsigned)>& good);
// Polls the box until it shows colour or wait passed; a failure names the colour last seen.
testing::AssertionResult AwaitColour(unsigned colour, int x, int y, int w, int h,
                                     std::chrono::seconds wait);
std::string Hex(unsigned colour);
// Polls done() until it holds or wait passed; its last answer.
bool AwaitTrue(const std::function<bool()>& done, std::chrono::milliseconds wait);
// A valid uncompressed Flash file of one frame, its stage of width by height pixels filled with
// colour (0xRRGGBB); padding bytes of an unknown tag make it as large as a test needs.
std::string TinySwf(int width, int height, unsigned colour, unsigned padding = 0);
// A clip by ffmpeg (arguments: inputs, codecs) at path, made under a plain name: none meets a
// shell.
bool MakeClip(const std::filesystem::path& path, const std::string& arguments);
