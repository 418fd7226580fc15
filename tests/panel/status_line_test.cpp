#include "panel/panel_state.h"

#include <gtest/gtest.h>

#include <thread>

TEST(StatusLine, CutsToFitAndSurvivesConcurrentWriters) {
  StatusLine line;
  EXPECT_TRUE(line.Empty());
  line.Set(std::string(1000, 'x'));
  EXPECT_EQ(line.Get().size(), StatusLine::Size - 1);

  std::thread a([&] {
    for (int i = 0; i < 2000; ++i)
      line.Set("Downloading game " + std::to_string(i));
  });
  std::thread b([&] {
    for (int i = 0; i < 2000; ++i) {
      std::string s = line.Get();
      EXPECT_TRUE(s.empty() || s.rfind("Downloading", 0) == 0 || s[0] == 'x');
    }
  });
  a.join();
  b.join();
  line.Clear();
  EXPECT_TRUE(line.Empty());
}
