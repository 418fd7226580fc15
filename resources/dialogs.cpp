#include "resources/dialogs.h"

namespace {

constexpr unsigned PictureButton = ControlDefault | ControlBitmap;
constexpr unsigned ShownText = ControlMultiLine | ControlReadOnly;

const ControlTemplate LinkControls[] = {
    {1, ControlKind::Button, 7, 7, 77, 69, PictureButton, "OK"},
    {101, ControlKind::Edit, 86, 7, 245, 21, ShownText, ""},
    {102, ControlKind::Static, 86, 64, 234, 12, ControlNoPrefix, "<< Click Quorlo Start Download."},
    {100, ControlKind::Edit, 87, 31, 246, 26, ShownText, ""},
};

const ControlTemplate WideLinkControls[] = {
    {1, ControlKind::Button, 7, 7, 77, 72, PictureButton, "OK"},
    {101, ControlKind::Edit, 90, 7, 228, 21, ShownText, ""},
    {102, ControlKind::Static, 91, 67, 170, 10, ControlNoPrefix,
     "<< Click Quorlo to Start Download."},
    {100, ControlKind::Edit, 90, 31, 228, 31, ShownText, ""},
    {1002, ControlKind::CheckBox, 7, 83, 37, 10, ControlAuto, "Save to "},
    {1003, ControlKind::CheckBox, 7, 94, 244, 10, ControlAuto, "Auto save reminding 5 seconds"},
    {1004, ControlKind::CheckBox, 7, 105, 243, 10, ControlAuto, "Auto close reminding 30 seconds"},
    {103, ControlKind::Edit, 44, 83, 274, 12, ControlEdge, ""},
    {202, ControlKind::Static, 310, 97, 8, 8, ControlHidden, ""},
    {203, ControlKind::Static, 310, 107, 8, 8, ControlHidden, ""},
};

template <int N>
constexpr DialogTemplate Dialog(int id, const char* title, int cx, int cy,
                                const ControlTemplate (&controls)[N]) {
  return {id, title, cx, cy, "Times New Roman", 10, controls, N};
}

const DialogTemplate Templates[] = {
    Dialog(1688, "Tessel Quorlo Search & Download", 339, 83, LinkControls),
    Dialog(1689, "Tessel Quorlo Search & Download 2.6", 325, 122, WideLinkControls),
};

} // namespace

const DialogTemplate* LoadDialogTemplate(int id) {
  for (const DialogTemplate& t : Templates)
    if (t.id == id)
      return &t;
  return nullptr;
}
