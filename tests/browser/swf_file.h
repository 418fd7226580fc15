// A tiny valid Flash file for the tests: one frame of the given size in pixels
// whose stage is filled with one colour (0xRRGGBB); padding bytes of an
// unknown tag make it as large as a test needs.
#pragma once

#include <string>

std::string TinySwf(int width, int height, unsigned colour, unsigned padding = 0);
