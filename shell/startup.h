// The life of the process: language, the hidden message window whose only
// work is to end the message loop, the /Top mode or the Panel's dialog, and
// the exit road. All of it runs on the process's first (GUI) thread, on the
// window backend installed before SkerryMain.
#pragma once

#include <string>

#include "platform/carrier.h"
#include "platform/win.h"

// The hidden window "Tessel Ombrel"; 0 until made.
extern Hwnd MessageWindow;

// The program's entry. Result: the process's exit code: 0 for a normal end
// and for a failed start, the number of games for the mode /Top.
int SkerryMain(int argc, char** argv);

// The command line as one text: the arguments after the program, joined by
// one blank.
std::string CommandLineText(int argc, char** argv);

// Whether the command line is the switch /Top, in any case, nothing beside it.
bool IsTopSwitch(const std::string& commandLine);

// LanguageOffset from a language query result: 1000 stays, all else is 0.
int LanguageOffsetFrom(int query);

// The mode /Top: runs the top-list job on this thread, shows its count, and
// gives it back.
int TopListMode();

// The hidden window's procedure.
LResult MessageWindowProc(Hwnd window, unsigned message, WParam w, LParam l);

// WM_INITDIALOG of the Panel, in its order. Result: 0.
LResult PanelInitDialog(Hwnd window);

// WM_COMMAND 2, 8 and 214: the question unless arg is 99, tray icon off,
// WM_DESTROY to MessageWindow, EndDialog.
void ExitRoad(Hwnd window, LParam arg);

// What the Panel does with the carrier's frames: deliver them to PanelWindow.
const CarrierHandlers& PanelCarrierHandlers();

// Whether this process listens on the carrier (it is the one Panel).
bool PanelListening();
