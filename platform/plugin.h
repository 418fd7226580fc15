// Optional plug-ins: a shared library with one C export of three strings
// that returns an int, loaded for one call and released after it. The
// desktop looked for such a library first in the program's own folder and
// then along the system's search path; so does this.
#pragma once

// The form of every plug-in export.
using PluginEntry = int (*)(const char*, const char*, const char*);

// Loads library (a bare file name such as "Kestrix.so") from firstFolder when
// that folder holds it (firstFolder may be null or empty), else by the
// dynamic loader's usual search; finds exportName, calls it with a, b and c,
// and releases the library. Result: true when the export was called, its
// value in result; false (result untouched) when the library or the export
// is missing. Callable from any thread; the export itself must be.
bool CallPlugin(const char* firstFolder, const char* library, const char* exportName, const char* a,
                const char* b, const char* c, int& result);
