// The settings store: reading and writing values of Define.ini and every other
// INI-formed file (iGame.ini, iMedia.htm, downloaded lists) with the small
// language of macros (%Name%), registry references (@HKEY_...) and "@@" as a
// stored line break.
//
// Buffers are the caller's and have the sizes the names say; nothing is ever
// written past them. Every call goes to the file as it is now (the INI engine
// below may cache parsed files but notices any outside change). Callable from
// any thread.
#pragma once

#include <cstddef>

constexpr std::size_t ProfileValueSize = 1024; // out of ProfileRead, value of ProfileWrite
constexpr std::size_t RegistryValueSize = 260; // out of ReadRegistryString

// Whether the system runs on the NT line; false, and nothing sets it. Decides
// the macros MaskNt ("" here) and Mask95 ("95" here).
extern bool SystemIsNt;

// Reads section/key of file into out (ProfileValueSize bytes), expanded and
// followed into the registry. For the program's own files only: a file from
// the network is read with ProfileReadRaw. Result: length of out, 0 when empty.
int ProfileRead(const char* section, const char* key, char* out, const char* file);

// Reads section/key of a file that came from the network (a fetched list)
// into out (ProfileValueSize bytes) by the INI rules alone: sections, keys,
// case, quotes and comments, but no macro, no registry reference and no
// "@@", so the file's text can't reach the environment, the registry or a
// line break. Result: length of out, 0 when empty.
int ProfileReadRaw(const char* section, const char* key, char* out, const char* file);

// Writes value (expanded; a reference in the unexpanded text is followed) to
// section/key of file; value (ProfileValueSize bytes, in and out) holds the
// stored text afterwards. Result: its length.
int ProfileWrite(const char* section, const char* key, char* value, const char* file);

// Expands %Name% macros of text into out (ProfileValueSize bytes); file is the
// INI file whose EnvCht/EnvEng/EnvAll sections serve as macro values.
int ExpandMacros(const char* text, char* out, const char* file);

// Replaces a value of the form @ROOT\key path[:value name] by the registry
// value's text. Result: length of out (ProfileValueSize bytes); 0 for a value
// that is no reference.
int ResolveRegistryValue(const char* value, char* out);

// One registry value as text into out (RegistryValueSize bytes). root is one
// of "HKEY_CURRENT_USER" etc. Result: 0, or a nonzero error code (2: not
// found, 234: value too long for the buffer).
int ReadRegistryString(const char* root, const char* keyPath, const char* valueName, char* out);

// A value of the user's shell folders; "Cache" is the browser cache folder.
int ReadShellFolder(const char* name, char* out);
