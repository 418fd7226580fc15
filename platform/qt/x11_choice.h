// Both programs host or are hosted by X window ids (the Panes are children of
// the Panel's window) and place windows by screen coordinates, which a
// Wayland session doesn't give. Where an X server runs beside the compositor,
// they take it, unless the user chose a platform. Call before the
// application object is made.
#pragma once

#include <cstdlib>

inline void PreferX11BesideWayland() {
  if (std::getenv("WAYLAND_DISPLAY") != nullptr && std::getenv("DISPLAY") != nullptr &&
      std::getenv("QT_QPA_PLATFORM") == nullptr)
    setenv("QT_QPA_PLATFORM", "xcb", 1);
}
