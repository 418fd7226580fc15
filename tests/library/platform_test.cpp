// Whole-file replacement under the menus, and its stale sweep (the drive table
// is tested with the gates, from mounts in tests/video/phone_drive_test.cpp).
#include "library_fixture.h"

#include "platform/files.h"

#include <sys/time.h>

namespace {

class Files : public LibraryFolder {};

TEST_F(Files, ReplacingAFileLeavesNoTemporary) {
  std::string path = program + "/Web/page.htm";
  ASSERT_TRUE(WriteFileAtomically(path, "one"));
  chmod(path.c_str(), 0640);
  ASSERT_TRUE(WriteFileAtomically(path, "two"));
  EXPECT_EQ(ReadWhole(path), "two");
  struct stat st {};
  ASSERT_EQ(stat(path.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0640u);
  EXPECT_FALSE(WriteFileAtomically(program + "/missing/page.htm", "x"));
  FileReplacement r;
  ASSERT_TRUE(BeginFileReplacement(path, r));
  AbandonFileReplacement(r);
  EXPECT_EQ(ReadWhole(path), "two");
  EXPECT_EQ(ListingOrder(program + "/Web"), std::vector<std::string>{"page.htm"});
  // Another writer's temporary file is left alone while it is young or held;
  // only one older than a minute that nobody holds is a killed writer's.
  ASSERT_TRUE(BeginFileReplacement(path, r));
  for (const char* name : {".page.htm.old000", ".page.htm.young0", ".PAGE.htm.other0"})
    WriteWhole(program + "/Web/" + name, "x");
  timeval old[2] = {{time(nullptr) - 120, 0}, {time(nullptr) - 120, 0}};
  for (const std::string& f :
       {program + "/Web/.page.htm.old000", r.temp, program + "/Web/.PAGE.htm.other0"})
    ASSERT_EQ(utimes(f.c_str(), old), 0);
  RemoveStaleTemporaries(path);
  EXPECT_THAT(ListingOrder(program + "/Web"),
              testing::UnorderedElementsAre(".PAGE.htm.other0",
                                            r.temp.substr(r.temp.rfind('/') + 1),
                                            ".page.htm.young0", "page.htm"));
  EXPECT_TRUE(FinishFileReplacement(r, "three"));
}

} // namespace
