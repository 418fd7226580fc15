#include "platform/qt/x11_window.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QThread>
#include <QWidget>

#include <cstdlib>
#include <cstring>
#include <xcb/xcb.h>

namespace {

xcb_connection_t* Connection() {
  auto* x11 = qApp->nativeInterface<QNativeInterface::QX11Application>();
  return x11 != nullptr ? x11->connection() : nullptr;
}

xcb_window_t Root(xcb_connection_t* c) {
  const xcb_setup_t* setup = xcb_get_setup(c);
  xcb_screen_iterator_t it = xcb_setup_roots_iterator(setup);
  return it.rem > 0 ? it.data->root : 0;
}

xcb_atom_t Atom(xcb_connection_t* c, const char* name) {
  xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
      c, xcb_intern_atom(c, 0, static_cast<uint16_t>(std::strlen(name)), name), nullptr);
  if (reply == nullptr)
    return 0;
  xcb_atom_t atom = reply->atom;
  std::free(reply);
  return atom;
}

// The window named by a WINDOW property of window, or 0.
xcb_window_t WindowProperty(xcb_connection_t* c, xcb_window_t window, xcb_atom_t property) {
  xcb_get_property_reply_t* reply = xcb_get_property_reply(
      c, xcb_get_property(c, 0, window, property, XCB_ATOM_WINDOW, 0, 1), nullptr);
  if (reply == nullptr)
    return 0;
  xcb_window_t found = 0;
  if (xcb_get_property_value_length(reply) >= 4)
    found = *static_cast<xcb_window_t*>(xcb_get_property_value(reply));
  std::free(reply);
  return found;
}

} // namespace

bool X11HasWindowManager() {
  xcb_connection_t* c = Connection();
  if (c == nullptr)
    return false;
  xcb_atom_t check = Atom(c, "_NET_SUPPORTING_WM_CHECK");
  xcb_window_t wm = check != 0 ? WindowProperty(c, Root(c), check) : 0;
  // A window manager that ended leaves its property naming a window that is gone.
  return wm != 0 && WindowProperty(c, wm, check) == wm;
}

void X11SetAbove(QWidget* w, bool on) {
  xcb_connection_t* c = Connection();
  if (c == nullptr || w == nullptr)
    return;
  if (!X11HasWindowManager()) {
    if (on)
      w->raise();
    return;
  }
  xcb_client_message_event_t event{};
  event.response_type = XCB_CLIENT_MESSAGE;
  event.format = 32;
  event.window = static_cast<xcb_window_t>(w->winId());
  event.type = Atom(c, "_NET_WM_STATE");
  event.data.data32[0] = on ? 1 : 0; // _NET_WM_STATE_ADD or _REMOVE
  event.data.data32[1] = Atom(c, "_NET_WM_STATE_ABOVE");
  event.data.data32[3] = 1; // from an application
  xcb_send_event(c, 0, Root(c),
                 XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                 reinterpret_cast<const char*>(&event));
  xcb_flush(c);
}

void X11AwaitNoChildren(const unsigned long* windows, int count, int timeoutMs) {
  xcb_connection_t* c = Connection();
  if (c == nullptr || windows == nullptr || count <= 0)
    return;
  QElapsedTimer waited;
  waited.start();
  while (waited.elapsed() < timeoutMs) {
    bool any = false;
    for (int i = 0; i < count && !any; ++i) {
      xcb_query_tree_reply_t* tree = xcb_query_tree_reply(
          c, xcb_query_tree(c, static_cast<xcb_window_t>(windows[i])), nullptr);
      if (tree != nullptr) {
        any = xcb_query_tree_children_length(tree) > 0;
        std::free(tree);
      }
    }
    if (!any)
      return;
    QThread::msleep(50);
  }
}
