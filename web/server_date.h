// Today's date from a web server's "Date:" header rather than from the
// computer's clock. Called on the daily job's thread; all state is per call.
#pragma once

#include <cstdint>

// [Web] ClockHost of Define.ini: the public web server used as a clock.
constexpr const char* DefaultClockHost = "www.example.com";

// The clock host as set, or DefaultClockHost. out takes 512 bytes.
int ClockHost(char* out);

// Asks host (port 80) for the page "." and reads its "Date:" line. Result:
// yyyymmdd such as 20081115, or 0 on any failure (no host, no connection, no
// answer within the web time-out, no "Date:", a date of the wrong form).
std::uint32_t ServerDate(const char* host);

// The date value of the text of a "Date:" header (weekday, comma, day, month,
// year, time, zone), or 0 when the text has too few tokens or names no month.
// Works on the text in place without changing it.
std::uint32_t ParseServerDate(const char* text);
