/// Tables of text for terminals: columns as wide as what is in them, drawn again in place some time
/// after a change.
///
/// On the activity loop's thread; everything goes to standard output.
#pragma once

#include <gantry/runtime/fen/ActivityLoop.h>

#include <functional>
#include <string>
#include <vector>

namespace Host {

using TextRow = std::vector<std::string>;

/// Rows of the same number of cells as lines. With a `width` other than 0, the columns at the end
/// that do not fit are left out, but never the first `least` ones.
std::string textTable(std::vector<TextRow> const& rows, std::size_t width, std::size_t least);

/// The columns of the terminal, 0 when there is none.
std::size_t terminalWidth();

/// A text that fills the terminal from its upper left corner, drawn at most a few times a second.
class ScreenText {
 public:
   explicit ScreenText(std::function<std::string()> text);
   ~ScreenText();
   ScreenText(ScreenText const&) = delete;
   ScreenText& operator=(ScreenText const&) = delete;

   /// Something has changed: it is drawn soon.
   void changed();

 private:
   class Timer;

   void draw();

   std::function<std::string()> const text_;
   Fen::Ptr<Timer> timer_;
   bool waiting_ = false;
   double drawn_ = 0.0;
};

} // namespace Host
