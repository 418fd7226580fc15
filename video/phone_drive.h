// Phone drive detection: the first removable drive whose root holds the
// phone's folders.
#pragma once

// firstLetter: the character code to start at (68, "D"); above 90 gives 0.
// videoFolder: the caller's 260-byte buffer, given empty; receives the phone's
// video folder when one is seen. Result: the letter's code, or 0 for none.
int FindPhoneDrive(int firstLetter, char* videoFolder);
