// PanelState: the one record of the Panel, alive for the whole process.
//
// Only the Panel's (GUI) thread writes it, with two exceptions: the status
// lines CollectStatus and PhoneStatus, which job threads fill, and nothing
// else. Job threads do read Channel, DailyMode, PanelRotation, PaneSlots,
// PanelWindow and TooltipWindow; those fields are atomics so that such reads
// are well defined. The status lines are StatusLine records with their own
// lock, always cut to fit their 260 bytes.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "platform/bitmap.h"
#include "platform/win.h"

// What the panel's screen shows; the same number is the slot in PaneSlots and
// the N of the browser program's /hN switch.
constexpr int ChannelClock = 0;
constexpr int ChannelImage = 1;
constexpr int ChannelGame = 2;
constexpr int ChannelVideoSite = 4;
constexpr int ChannelHome = 5;
constexpr int ChannelVideoFolder = 8;
constexpr int ChannelStart = 99;

constexpr int PaneSlotCount = 12;
constexpr int ZoneCount = 25;
constexpr int OutlinePointCount = 44;

// The Panel's timers: 1 (50 ms) drags it by its face, 2 (1000 ms) runs the
// once-a-second pass (panel/timers.h).
constexpr int DragTimer = 1;
constexpr int SecondTimer = 2;

constexpr int AddressControl = 2010;

// A status line of a background job: 260 bytes with the end mark, so at most
// 259 characters of text. Empty means that no job works on that line.
class StatusLine {
 public:
  static constexpr std::size_t Size = 260;
  void Set(const std::string& text);
  std::string Get() const;
  bool Empty() const;
  void Clear() { Set(std::string()); }
  // Changes the text in place under the line's lock (edit(std::string&)), so
  // that an append or a removal by one job never undoes another's; the
  // result is cut to fit like Set's.
  template <typename F> void Update(F edit) {
    std::lock_guard<std::mutex> guard(lock_);
    edit(text_);
    if (text_.size() > Size - 1)
      text_.resize(Size - 1);
  }

 private:
  mutable std::mutex lock_;
  std::string text_;
};

struct PanelState {
  // Dispatcher.
  std::atomic<int> Channel{ChannelStart};
  int PreviousChannel = 0;
  int ShownChannel = 0;
  int MaximizedChannel = -1;
  // Another window was active since that Pane filled the screen.
  bool MaximizedLeft = false;
  std::array<std::atomic<Hwnd>, PaneSlotCount> PaneSlots{};
  std::uint32_t HoverCode = 0;
  std::atomic<int> PanelRotation{0};
  int TopmostFlag = 0;
  std::atomic<int> DailyMode{0};
  StatusLine CollectStatus;
  StatusLine PhoneStatus;
  std::atomic<Hwnd> PanelWindow{0};

  // Geometry and hit zones.
  std::uint32_t LastHover = 0;
  std::array<Point, OutlinePointCount> PanelOutline{};
  bool PanelRegion = false; // a region made from PanelOutline is in force
  int PanelLeft = 0;
  int PanelTop = 0;

  // Skin, in the form of the current orientation; null when none is loaded.
  std::unique_ptr<Bitmap> SkinBitmap;
  std::string LastSkinName = "--";

  // Tooltips.
  std::atomic<Hwnd> TooltipWindow{0};

  // Timers and dragging.
  int TickCount = 0;
  int DayKey = 0;
  Point DragAnchor;
  Point DragCursor;
  std::string LastClipboardText;

  // Tray.
  int TrayIconAdded = 0;
};

// The process's one Panel record.
PanelState& Panel();

// Puts every field of state back to its start value (the record holds locks
// and atomics, so it can't simply be assigned anew). Tests start each case
// from here.
void ResetPanelState(PanelState& state);
