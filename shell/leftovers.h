// The temporaries that the collection roads leave behind when the program is
// killed half-way, and their sweep.
#pragma once

#include <string>

// Removes from folder the stale temporaries of the roads: half downloads
// ("cv<n>-<t>.<slot>"), private copies beside a target (".skerry-part-*",
// ".<name>.part"), a game link's staging folders (".link-*") and the
// conversion's intermediate outputs ("<stem>~<k>-<j>.<ending>"). Stale is
// as the INI engine has it for its own temporaries: old enough and held by
// no live writer (RemoveStaleEntries). The intermediate outputs, which
// their writer doesn't lock, only atStart, when no conversion runs. Result:
// the entries removed.
int SweepRoadTemporaries(const std::string& folder, bool atStart);

// The sweep of a start: the system's Temp folder and the program's Video and
// Game folders.
void SweepRoadTemporariesAtStart();
