// The link download question: a dialog of template 1688 (or its wider form
// 1689) that shows the game's link and the page it came from, and a picture
// button running a four-frame animation that starts the download.
#pragma once

#include <atomic>
#include <string>

#include "platform/win.h"

// The frame the picture button shows, 0 to 3; process-wide, so a new dialog
// carries on where the last one stopped.
extern std::atomic<int> LinkFrameIndex;

// The fields the last start of a link download left (LinkOwner, LinkSource,
// LinkTarget) and what the wider dialog gave as its save target
// (LinkSaveFolder). Guarded: jobs, dialogs and the Panel share them.
struct LinkFields {
  Hwnd LinkOwner = 0;
  std::string LinkSource;     // at most 511 bytes
  std::string LinkTarget;     // at most 511 bytes
  std::string LinkSaveFolder; // at most 259 bytes
};
LinkFields CopyLinkFields();
void StoreLinkArguments(Hwnd owner, const char* source, const char* target);
void StoreLinkSaveFolder(const std::string& folder);

// What a dialog shows, when its caller passes its own copy (WM_INITDIALOG's
// parameter); with none the dialog reads LinkSource and LinkTarget.
struct LinkDialogTexts {
  std::string source;
  std::string target;
};

// The dialog's procedure, for both templates.
LResult LinkDialogProc(Hwnd dialog, unsigned message, WParam w, LParam l);

// Runs the dialog of templateId modally for owner; callable from any thread.
// Result: 0 no download, 1 download to LinkSaveFolder, 6 download and ask for
// the name; -1 when the dialog can't be made.
int LinkDialog(int templateId, Hwnd owner, const LinkDialogTexts* texts);
