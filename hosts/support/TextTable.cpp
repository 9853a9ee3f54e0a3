// Columns, and the terminal on which they are drawn again and again.

#include <hosts/support/TextTable.h>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <iostream>

namespace Host {

namespace {

constexpr double secondsBetweenDrawings = 0.2;

/// The characters of UTF-8 text, which stand for columns.
std::size_t widthOf(std::string const& text) {
   return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

} // namespace

std::string textTable(std::vector<TextRow> const& rows, std::size_t width, std::size_t least) {
   if (rows.empty()) {
      return {};
   }
   std::vector<std::size_t> widths(rows.front().size(), 0);
   for (TextRow const& row : rows) {
      for (std::size_t i = 0; i < row.size(); ++i) {
         widths[i] = std::max(widths[i], widthOf(row[i]));
      }
   }
   std::size_t shown = 0;
   for (std::size_t used = 0; shown < widths.size(); ++shown) {
      used += widths[shown] + 2;
      if (shown >= least && width != 0 && used > width + 2) {
         break;
      }
   }
   std::string out;
   for (TextRow const& row : rows) {
      std::string line;
      for (std::size_t i = 0; i < shown; ++i) {
         line += row[i] + std::string(widths[i] - widthOf(row[i]) + 2, ' ');
      }
      line.erase(line.find_last_not_of(' ') + 1);
      out += line + "\n";
   }
   return out;
}

std::size_t terminalWidth() {
   winsize size{};
   return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

class ScreenText::Timer : public Fen::Clock::Notifiee {
 public:
   explicit Timer(ScreenText* screen)
      : Notifiee(Fen::ActivityLoop::instance().clock()), screen_(screen) {
      isRegisteredNotifieeIs(true);
   }
   void onTime() override {
      if (screen_ != nullptr) {
         screen_->draw();
      }
   }
   void screenDel() { screen_ = nullptr; }

 private:
   ScreenText* screen_;
};

ScreenText::ScreenText(std::function<std::string()> text)
   : text_(std::move(text)), timer_(Fen::makePtr<Timer>(this)) {}

ScreenText::~ScreenText() { timer_->screenDel(); }

void ScreenText::changed() {
   if (!waiting_) {
      waiting_ = true;
      timer_->timeMinIs(std::max(Fen::now(), drawn_ + secondsBetweenDrawings));
   }
}

void ScreenText::draw() {
   waiting_ = false;
   drawn_ = Fen::now();
   // To the upper left corner, the text, and nothing of the last one behind it.
   std::string out = "\033[H";
   for (char const c : text_()) {
      out += c == '\n' ? std::string("\033[K\n") : std::string(1, c);
   }
   std::cout << out << "\033[J" << std::flush;
}

} // namespace Host
