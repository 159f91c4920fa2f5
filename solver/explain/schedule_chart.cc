// SPDX-License-Identifier: MIT
//
// Lengths are tenths of a pixel, as integers: times are exact, and floating
// point would round them in another way on another machine.
#include "solver/explain/schedule_chart.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "solver/explain/explanation.h"
#include "solver/terms/term_printer.h"

namespace vorn::solver {
namespace {

// In characters. Longer names make a drawing unreadable.
constexpr std::size_t kLongestName = 60;

// Sizes of text, in tenths of a pixel like all that follows: of names that fit,
// and of others.
constexpr long kFont = 110;
constexpr long kSmallFont = 90;
// A name this far cut is no help.
constexpr std::size_t kFewestCharacters = 4;
constexpr long kPadding = 40;
constexpr long kGap = 60;
constexpr long kTop = 100;
constexpr long kAxisHeight = 260;
constexpr long kLeastBar = 240;
constexpr long kMostBar = 600;
constexpr long kLeastWidth = 8000;
constexpr long kMostWidth = 24000;

std::string_view name_of(const Term* start, std::string& printed) {
  if (start->kind == Kind::kSymbol) return start->name();
  printed = print_term(start, kLongestName);
  return printed;
}

// --- Text ---

// The next character, as it stands in an XML file, and its width in tenths of
// the font's size. What is no UTF-8, or no character of XML, becomes one that
// shows that something is missing.
struct Character {
  std::string xml;
  long width = 6;
};

std::size_t length_of_character(std::string_view text) {
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = first < 0x80U                     ? 1
                             : first >= 0xC2U && first < 0xE0U ? 2
                             : first >= 0xE0U && first < 0xF0U ? 3
                             : first >= 0xF0U && first < 0xF5U ? 4
                                                               : 0;
  if (length == 0 || length > text.size()) return 0;
  std::uint32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t k = 1; k < length; ++k) {
    const auto next = static_cast<unsigned char>(text[k]);
    if ((next & 0xC0U) != 0x80U) return 0;
    code = code << 6U | (next & 0x3FU);
  }
  constexpr std::array<std::uint32_t, 5> kLeast = {0, 0x20, 0x80, 0x800,
                                                   0x10000};
  const bool is_surrogate = code >= 0xD800U && code < 0xE000U;
  const bool is_none = code == 0x7FU || code == 0xFFFEU || code == 0xFFFFU;
  if (code < kLeast[length] || code > 0x10FFFFU) return 0;
  return is_surrogate || is_none ? 0 : length;
}

std::vector<Character> characters_of(std::string_view text) {
  std::vector<Character> result;
  while (!text.empty()) {
    std::size_t length = length_of_character(text);
    std::string xml(text.substr(0, length));
    if (length == 0) {
      xml = "\xEF\xBF\xBD";  // the replacement character
      length = 1;
    } else if (xml == "&") {
      xml = "&amp;";
    } else if (xml == "<") {
      xml = "&lt;";
    } else if (xml == ">") {
      xml = "&gt;";
    }
    // From there on are the wide scripts.
    constexpr unsigned char kWide = 0xE1;
    const bool is_wide = static_cast<unsigned char>(text[0]) >= kWide;
    result.push_back({std::move(xml), is_wide ? 10 : 6});
    text.remove_prefix(length);
  }
  return result;
}

std::string xml_of(const std::vector<Character>& text) {
  std::string result;
  for (const Character& character : text) result += character.xml;
  return result;
}

long width_of(const std::vector<Character>& text, long font) {
  long sum = 0;
  for (const Character& character : text) sum += character.width;
  return sum * font / 10 + kPadding;
}

// Leaves out the end until the rest and an ellipsis fit.
std::vector<Character> cut(std::vector<Character> text, long font, long room) {
  const Character ellipsis{"\xE2\x80\xA6", 10};
  text.push_back(ellipsis);
  while (text.size() > 1 && width_of(text, font) > room) {
    text.pop_back();
    text.back() = ellipsis;
  }
  return text;
}

// In pixels.
std::string length_text(long tenths) {
  std::string text = std::to_string(tenths / 10);
  if (tenths % 10 != 0) text += '.' + std::to_string(tenths % 10);
  return text;
}

// A decimal where there is a short one.
std::string number_text(const QNumber& number) {
  constexpr int kMostDecimals = 6;
  QNumber scaled = number;
  for (int decimals = 0; decimals <= kMostDecimals; ++decimals) {
    if (scaled.is_integer()) {
      std::string digits = (scaled.sign() < 0 ? -scaled : scaled).to_str();
      const auto least = static_cast<std::size_t>(decimals) + 1;
      if (digits.size() < least) digits.insert(0, least - digits.size(), '0');
      if (decimals > 0) digits.insert(digits.size() - least + 1, 1, '.');
      return scaled.sign() < 0 ? '-' + digits : digits;
    }
    scaled *= QNumber(10);
  }
  return number.to_str();
}

QNumber end_of(const ScheduleChart::Task& task) {
  QNumber end = task.start;
  end += task.duration;
  return end;
}

// --- Colours ---

// Chains next to each other differ in hue; where there are many, lightness
// tells apart those that do not. Black text can be read on all of them.
std::string colour(std::size_t chain, std::size_t num_chains) {
  // The golden angle lands far from all that came before, for any number.
  constexpr std::size_t kGoldenAngle = 138;
  constexpr std::size_t kFew = 12;
  constexpr std::array<long, 3> kLightness = {77, 69, 85};
  constexpr long kSaturation = 62;
  const auto hue =
      static_cast<long>(num_chains <= kFew ? 360 * chain / num_chains
                                           : kGoldenAngle * chain % 360);
  // Blue looks darker than it is light.
  const long lightness =
      kLightness[chain % kLightness.size()] + (hue >= 210 && hue < 300 ? 6 : 0);
  // From hue, saturation and lightness, in degrees and per cent, by pieces of
  // 30 degrees.
  std::string text = "#";
  for (const long shift : {0L, 240L, 120L}) {
    const long place = (hue + shift) % 360;
    const long slope = std::clamp(std::min(place - 90, 270 - place), -30L, 30L);
    const long part =
        lightness * 3000 -
        kSaturation * std::min(lightness, 100 - lightness) * slope;
    const long value = part * 255 / 300000;
    constexpr std::string_view kDigits = "0123456789abcdef";
    text += kDigits[static_cast<std::size_t>(value / 16)];
    text += kDigits[static_cast<std::size_t>(value % 16)];
  }
  return text;
}

// --- The drawing ---

class Drawing {
 public:
  Drawing(const ScheduleChart& chart, std::ostream& out)
      : chart_(chart), out_(out) {
    const ScheduleChart::Task& any = chart.rows.front().front();
    low_ = any.start;
    high_ = end_of(any);
    std::size_t most_tasks = 0;
    long widest = 0;
    for (const auto& row : chart.rows) {
      most_tasks = std::max(most_tasks, row.size());
      for (const ScheduleChart::Task& task : row) {
        low_ = std::min(low_, task.start);
        high_ = std::max(high_, end_of(task));
        num_chains_ = std::max(num_chains_, task.chain + 1);
        widest = std::max(widest, width_of(characters_of(task.name), kFont));
      }
    }
    // Time begins at 0 unless that is far away.
    QNumber twice = low_;
    twice += low_;
    if (low_.sign() >= 0 && twice <= high_) low_ = QNumber(0);
    span_ = high_;
    span_ -= low_;
    // For bars of which each is half as long as the mean.
    width_ = std::clamp(static_cast<long>(most_tasks) * widest * 2, kLeastWidth,
                        kMostWidth);
    left_ = width_of(characters_of(std::to_string(chart.rows.size())), kFont) +
            kPadding;
    bar_ = kLeastBar;
    for (const auto& row : chart.rows) {
      for (const ScheduleChart::Task& task : row) {
        const std::vector<Character> name = characters_of(task.name);
        const long length = width_of(name, kSmallFont);
        if (length <= width_of_bar(task)) continue;
        bar_ = std::clamp(length, bar_, kMostBar);
      }
    }
    bottom_ = kTop + static_cast<long>(chart.rows.size()) * (bar_ + kGap);
  }

  void write() {
    // The last label of the axis may stand out by half of its width.
    const long right =
        width_of(characters_of(number_text(high_)), kFont) / 2 + kPadding;
    const std::string width = length_text(left_ + width_ + right);
    const std::string height = length_text(bottom_ + kAxisHeight);
    out_ << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width
         << "\" height=\"" << height << "\" viewBox=\"0 0 " << width << ' '
         << height << "\" font-family=\"sans-serif\" font-size=\""
         << length_text(kFont)
         << "\" text-anchor=\"middle\">\n"
            "<desc>A row for each set of tasks that cannot overlap, time from "
            "left to right. Bars of one colour are steps of one "
            "job.</desc>\n"
            "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n";
    for (std::size_t r = 0; r < chart_.rows.size(); ++r) write_lane(r);
    write_axis();
    out_ << "<g stroke=\"#333\" stroke-width=\"0.5\">\n";
    for (std::size_t r = 0; r < chart_.rows.size(); ++r) {
      for (const ScheduleChart::Task& task : chart_.rows[r]) {
        write_bar(r, task);
      }
    }
    out_ << "</g>\n<g pointer-events=\"none\">\n";
    for (std::size_t r = 0; r < chart_.rows.size(); ++r) {
      for (const ScheduleChart::Task& task : chart_.rows[r]) {
        write_name(r, task);
      }
    }
    out_ << "</g>\n</svg>\n";
  }

 private:
  long top_of(std::size_t row) const {
    return kTop + static_cast<long>(row) * (bar_ + kGap);
  }
  // Where a time lies, to the right of left_.
  long place_of(const QNumber& time) const {
    QNumber place = time;
    place -= low_;
    place *= QNumber(width_);
    place /= span_;
    return std::strtol(place.floor().to_str().c_str(), nullptr, 10);
  }
  long width_of_bar(const ScheduleChart::Task& task) const {
    return place_of(end_of(task)) - place_of(task.start);
  }

  void write_lane(std::size_t row) {
    const long top = top_of(row);
    out_ << "<rect x=\"" << length_text(left_) << "\" y=\"" << length_text(top)
         << "\" width=\"" << length_text(width_) << "\" height=\""
         << length_text(bar_) << "\" fill=\"#f2f2f2\"/>\n<text x=\""
         << length_text(left_ - kPadding) << "\" y=\""
         << length_text(top + (bar_ + kFont * 7 / 10) / 2)
         << "\" text-anchor=\"end\" fill=\"#333\">" << row + 1 << "</text>\n";
  }

  // The distance of labels: 1, 2 or 5 times a power of 10.
  QNumber step(long room) const {
    QNumber least = span_;
    least *= QNumber(room);
    least /= QNumber(width_);
    QNumber power(1);
    while (power < least) power *= QNumber(10);
    while (least < power) power /= QNumber(10);
    for (const int factor : {1, 2, 5}) {
      QNumber result = power;
      result *= QNumber(factor);
      if (least <= result) return result;
    }
    power *= QNumber(10);
    return power;
  }

  void write_tick(const QNumber& time, const std::string& label, bool is_end) {
    const std::string x = length_text(left_ + place_of(time));
    out_ << "<path d=\"M" << x << ' ' << length_text(kTop / 2) << 'V'
         << length_text(bottom_) << "\" stroke=\"" << (is_end ? "#333" : "#ccc")
         << "\"/>\n<text x=\"" << x << "\" y=\""
         << length_text(bottom_ + kFont * 3 / 2) << "\" fill=\"#333\""
         << (is_end ? " font-weight=\"bold\">" : ">") << label << "</text>\n";
  }

  void write_axis() {
    const std::string end = number_text(high_);
    const long room =
        std::max(width_of(characters_of(end), kFont),
                 width_of(characters_of(number_text(low_)), kFont)) +
        3 * kPadding;
    const QNumber distance = step(room);
    QNumber time = low_;
    time /= distance;
    time = time.ceil();
    time *= distance;
    for (; time < high_; time += distance) {
      // The end has its own.
      if (place_of(time) + room > width_) break;
      write_tick(time, number_text(time), false);
    }
    write_tick(high_, end, true);
  }

  void write_bar(std::size_t row, const ScheduleChart::Task& task) {
    out_ << "<rect x=\"" << length_text(left_ + place_of(task.start))
         << "\" y=\"" << length_text(top_of(row)) << "\" width=\""
         << length_text(width_of_bar(task)) << "\" height=\""
         << length_text(bar_) << "\" fill=\"" << colour(task.chain, num_chains_)
         << "\"><title>" << xml_of(characters_of(task.name)) << ": "
         << number_text(task.start) << " to " << number_text(end_of(task))
         << "</title></rect>\n";
  }

  // Along the bar if there is room, upright if there is more of it that way,
  // cut if it takes that.
  void write_name(std::size_t row, const ScheduleChart::Task& task) {
    std::vector<Character> name = characters_of(task.name);
    const long width = width_of_bar(task);
    long font = kFont;
    if (width_of(name, font) > width) font = kSmallFont;
    bool is_upright = false;
    if (width_of(name, font) > width) {
      is_upright = width < bar_;
      if (is_upright && width < font) return;
      const long room = is_upright ? bar_ : width;
      if (width_of(name, font) > room) {
        name = cut(std::move(name), font, room);
        if (name.size() <= kFewestCharacters) return;
      }
    }
    const long x = left_ + place_of(task.start) + width / 2;
    const long y = top_of(row) + bar_ / 2;
    // Letters stand on their line, and are two thirds of the font's size high.
    const long down = font * 35 / 100;
    out_ << "<text ";
    if (is_upright) {
      out_ << "transform=\"translate(" << length_text(x + down) << ' '
           << length_text(y) << ") rotate(-90)\"";
    } else {
      out_ << "x=\"" << length_text(x) << "\" y=\"" << length_text(y + down)
           << '"';
    }
    if (font != kFont) out_ << " font-size=\"" << length_text(font) << '"';
    out_ << '>' << xml_of(name) << "</text>\n";
  }

  const ScheduleChart& chart_;
  std::ostream& out_;
  /// Ends of the axis, and their distance.
  QNumber low_;
  QNumber high_;
  QNumber span_;
  std::size_t num_chains_ = 0;
  /// The axis begins here, and is so long.
  long left_ = 0;
  long width_ = 0;
  /// Height of a bar.
  long bar_ = 0;
  /// Where the axis is.
  long bottom_ = 0;
};

}  // namespace

ScheduleChart draw_schedule(Engine& engine) {
  ScheduleChart chart;
  for (const ScheduledMachine& machine : engine.schedule()) {
    auto& row = chart.rows.emplace_back();
    for (const ScheduledTask& task : machine) {
      std::string printed;
      row.push_back({on_one_line(name_of(task.start, printed), kLongestName),
                     engine.number_value(task.start), task.duration,
                     task.chain});
    }
    std::stable_sort(
        row.begin(), row.end(),
        [](const ScheduleChart::Task& a, const ScheduleChart::Task& b) {
          return a.start < b.start;
        });
  }
  return chart;
}

void write_svg(const ScheduleChart& chart, std::ostream& out) {
  assert(!chart.rows.empty());
  Drawing(chart, out).write();
}

}  // namespace vorn::solver
