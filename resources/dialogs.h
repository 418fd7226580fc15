// The dialog templates of the program, keyed by their ids: 1688 (the link
// download question) and 1689 (its wider form with a save target and the two
// automatic check boxes).
#pragma once

#include "platform/win.h"

// The template of id, or null for an unknown id. The tables live for the
// process's life.
const DialogTemplate* LoadDialogTemplate(int id);
