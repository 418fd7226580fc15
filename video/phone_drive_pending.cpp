// Phone drive detection until it is built: no phone is ever found.
#include "video/phone_drive.h"

int FindPhoneDrive(int, char*) {
  return 0;
}
