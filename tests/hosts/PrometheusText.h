/// A strict reader of the text format of Prometheus, version 0.0.4: each metric has its HELP, its
/// TYPE and its samples, in this order and together; names, labels and escapes are well formed; no
/// sample comes twice; counters are whole, not negative, and end in _total. Whatever else stands
/// there throws std::runtime_error.
#pragma once

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace HostTest {

struct PrometheusMetric {
   std::string kind;
   /// By name and labels as they stand, such as "x{a=\"b\"}".
   std::map<std::string, double> values;
   /// Of each sample, without those of a summary's sum and count.
   std::vector<std::map<std::string, std::string>> labels;
};

class PrometheusText {
 public:
   explicit PrometheusText(std::string const& text) {
      std::size_t begin = 0;
      while (begin < text.size()) {
         std::size_t const end = text.find('\n', begin);
         require(end != std::string::npos, "the last line has no end");
         rest_ = std::string_view(text).substr(begin, end - begin);
         line_ = rest_;
         line();
         begin = end + 1;
      }
      require(state_ != State::help, "a metric ends behind its HELP");
   }

   std::map<std::string, PrometheusMetric> metrics;

 private:
   enum class State { outside, help, inside };

   void require(bool holds, char const* what) const {
      if (!holds) {
         throw std::runtime_error(std::string(what) + ": " + std::string(line_));
      }
   }
   bool taken(std::string_view word) {
      if (!rest_.starts_with(word)) {
         return false;
      }
      rest_.remove_prefix(word.size());
      return true;
   }
   std::string nameTaken(bool isLabel) {
      std::size_t size = 0;
      while (size < rest_.size()) {
         auto const c = static_cast<unsigned char>(rest_[size]);
         bool const isDigit = std::isdigit(c) != 0;
         if (!(std::isalpha(c) != 0 || c == '_' || (c == ':' && !isLabel) ||
               (isDigit && size > 0))) {
            break;
         }
         ++size;
      }
      require(size > 0, "no name");
      std::string const name(rest_.substr(0, size));
      rest_.remove_prefix(size);
      return name;
   }
   std::string labelValueTaken() {
      require(taken("\""), "a label's value has no quotes");
      std::string value;
      while (!rest_.empty() && rest_.front() != '"') {
         char c = rest_.front();
         rest_.remove_prefix(1);
         if (c == '\\') {
            require(!rest_.empty(), "an escape of nothing");
            c = rest_.front();
            rest_.remove_prefix(1);
            require(c == '\\' || c == '"' || c == 'n', "an unknown escape");
            c = c == 'n' ? '\n' : c;
         }
         value += c;
      }
      require(taken("\""), "a label's value does not end");
      return value;
   }

   void line() {
      if (taken("# HELP ")) {
         require(state_ != State::help, "two HELP in a row");
         current_ = nameTaken(false);
         require(!metrics.contains(current_), "a metric comes twice");
         require(taken(" ") && !rest_.empty(), "a HELP without words");
         state_ = State::help;
      } else if (taken("# TYPE ")) {
         require(state_ == State::help && nameTaken(false) == current_ && taken(" "),
                 "a TYPE not behind its HELP");
         std::string const kind(rest_);
         require(kind == "counter" || kind == "gauge" || kind == "summary", "an unknown type");
         require(kind != "counter" || current_.ends_with("_total"), "a counter without _total");
         metrics[current_].kind = kind;
         state_ = State::inside;
      } else {
         require(state_ == State::inside, "a sample without a metric");
         sample();
      }
   }

   void sample() {
      PrometheusMetric& metric = metrics[current_];
      std::string_view const whole = rest_;
      std::string const name = nameTaken(false);
      bool const isPart =
         metric.kind == "summary" && (name == current_ + "_sum" || name == current_ + "_count");
      require(name == current_ || isPart, "a sample of another metric");
      std::map<std::string, std::string> labels;
      if (taken("{")) {
         do {
            std::string const label = nameTaken(true);
            require(taken("="), "a label without a value");
            require(labels.emplace(label, labelValueTaken()).second, "a label comes twice");
         } while (taken(","));
         require(taken("}"), "the labels do not end");
      }
      std::string const key(whole.substr(0, whole.size() - rest_.size()));
      require(taken(" "), "no value");
      std::string const text(rest_);
      char* end = nullptr;
      double const value = std::strtod(text.c_str(), &end);
      require(!text.empty() && *end == '\0' && text.front() != ' ', "the value is no number");
      require(metric.kind != "counter" || (value >= 0 && value == std::floor(value)),
              "a counter is no count");
      require(metric.kind != "summary" || isPart || labels.contains("quantile"),
              "a summary's sample has no quantile");
      require(metric.values.emplace(key, value).second, "a sample comes twice");
      if (!isPart) {
         metric.labels.push_back(labels);
      }
   }

   std::string_view line_;
   std::string_view rest_;
   State state_ = State::outside;
   std::string current_;
};

} // namespace HostTest
