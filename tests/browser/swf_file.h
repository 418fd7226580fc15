// A tiny valid Flash file for the tests: one frame of the given size in pixels
// whose stage is filled with one colour (0xRRGGBB).
#pragma once

#include <string>

std::string TinySwf(int width, int height, unsigned colour);
