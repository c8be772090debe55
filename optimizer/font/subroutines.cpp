// Repeats are found between whole commands, an operator with its operands, so that a call never comes where
// the stack holds something. Pairs of neighbours that occur most often become one symbol, again and again
// (Larsson and Moffat, Off-line dictionary-based compression, 2000); then each symbol that saves bytes
// becomes a subroutine, and the others are written out.
#include "optimizer/font/subroutines.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <queue>
#include <string>
#include <unordered_map>
#include <utility>

#include "optimizer/base/writer.h"

namespace optimizer::font {

namespace {

constexpr std::size_t kMostCommands = 400'000;
constexpr std::size_t kMostSubroutines = 33'899;  // more would need longer calls
constexpr int kDeepest = 9;                       // of the ten levels that interpreters allow
constexpr std::size_t kCallSize = 3;              // about: a number of one or two bytes, and the operator
constexpr std::size_t kOwnSize = 3;               // an offset of the index, and the operator that returns
constexpr std::uint32_t kNone = 0xffffffff;
constexpr int kReturn = 11, kEndchar = 14, kCallGlobal = 29;

// Ends of the commands of a charstring that has no subroutines; nothing where it is not understood. endchar
// is not among them.
std::vector<std::size_t> commandEnds(const Bytes& code) {
  std::vector<std::size_t> ends;
  std::size_t operands = 0, stems = 0;
  for (std::size_t at = 0; at < code.size();) {
    const int b = code[at];
    if (b >= 32 || b == 28) {
      at += b == 28 ? 3 : b == 255 ? 5 : b >= 247 ? 2 : 1;
      ++operands;
      continue;
    }
    if (b == kEndchar) return ends;
    at += b == 12 ? 2 : 1;
    if (b == 1 || b == 3 || b == 18 || b == 23 || b == 19 || b == 20) stems += operands / 2;
    if (b == 19 || b == 20) at += (stems + 7) / 8;
    if (at > code.size()) return {};
    operands = 0;
    ends.push_back(at);
  }
  return {};
}

class Finder {
 public:
  explicit Finder(std::vector<Bytes>& charstrings) : charstrings_(charstrings) {}
  std::vector<Bytes> run();

 private:
  struct Symbol {
    Bytes text;  // of a command; empty for a pair
    std::uint32_t left = kNone, right = kNone;
    std::size_t uses = 0;  // places that write it, once pairs that are no subroutines are opened
    std::size_t size = 0;  // of what it writes, calls included
    int depth = 0;         // of calls inside it
    bool subroutine = false;
    std::size_t number = 0;
  };
  using Pair = std::uint64_t;
  static Pair pairOf(std::uint32_t a, std::uint32_t b) { return std::uint64_t{a} << 32 | b; }

  bool read();
  void note(std::uint32_t at);
  void replacePairs();
  void replace(Pair pair, const std::vector<std::uint32_t>& places);
  void choose();
  void countUses();
  void number();
  void write(std::uint32_t symbol, bool open, Writer& out) const;
  void call(const Symbol& symbol, Writer& out) const;

  std::vector<Bytes>& charstrings_;
  std::vector<Symbol> symbols_;
  std::vector<std::uint32_t> text_;         // all commands, with kNone between charstrings
  std::vector<std::uint32_t> next_, prev_;  // places in text_ that are still there
  std::vector<std::uint32_t> starts_;       // where each charstring begins in text_
  std::vector<std::size_t> restAt_;         // where the commands of each end
  std::unordered_map<Pair, std::vector<std::uint32_t>> places_;
  std::priority_queue<std::pair<std::size_t, Pair>> queue_;
  std::size_t subroutines_ = 0;
};

bool Finder::read() {
  std::map<std::string, std::uint32_t> known;
  for (const Bytes& code : charstrings_) {
    starts_.push_back(static_cast<std::uint32_t>(text_.size()));
    std::size_t start = 0;
    for (const std::size_t end : commandEnds(code)) {
      std::string command(code.begin() + static_cast<std::ptrdiff_t>(start),
                          code.begin() + static_cast<std::ptrdiff_t>(end));
      const auto [entry, added] =
          known.emplace(std::move(command), static_cast<std::uint32_t>(symbols_.size()));
      if (added) {
        symbols_.emplace_back();
        symbols_.back().text.assign(entry->first.begin(), entry->first.end());
      }
      text_.push_back(entry->second);
      start = end;
    }
    restAt_.push_back(start);
    text_.push_back(kNone);
    if (text_.size() > kMostCommands) return false;
  }
  for (std::size_t i = 0; i < text_.size(); ++i) {
    next_.push_back(static_cast<std::uint32_t>(i + 1));
    prev_.push_back(static_cast<std::uint32_t>(i == 0 ? kNone : i - 1));
  }
  return true;
}

// Notes the pair that begins at a place.
void Finder::note(std::uint32_t at) {
  const std::uint32_t after = next_[at];
  if (after >= text_.size() || text_[at] == kNone || text_[after] == kNone) return;
  std::vector<std::uint32_t>& list = places_[pairOf(text_[at], text_[after])];
  list.push_back(at);
  // Asked again each time the list has doubled, so that the queue stays short.
  if (list.size() >= 2 && (list.size() & (list.size() - 1)) == 0) {
    queue_.emplace(list.size(), pairOf(text_[at], text_[after]));
  }
}

void Finder::replacePairs() {
  for (std::uint32_t i = 0; i + 1 < text_.size(); ++i) note(i);
  while (!queue_.empty()) {
    const auto [count, pair] = queue_.top();
    queue_.pop();
    const auto found = places_.find(pair);
    if (found == places_.end()) continue;
    // What is still there, without overlaps.
    std::vector<std::uint32_t> live;
    std::sort(found->second.begin(), found->second.end());
    std::uint32_t end = 0;
    for (const std::uint32_t at : found->second) {
      const std::uint32_t after = next_[at];
      if (text_[at] != static_cast<std::uint32_t>(pair >> 32) || after >= text_.size()) continue;
      if (text_[after] != static_cast<std::uint32_t>(pair) || (!live.empty() && at < end)) continue;
      live.push_back(at);
      end = after + 1;
    }
    if (live.size() < 2) {
      places_.erase(found);
    } else if (live.size() < count && !queue_.empty() && live.size() < queue_.top().first) {
      const std::size_t size = live.size();
      found->second = std::move(live);
      queue_.emplace(size, pair);
    } else {
      places_.erase(found);
      replace(pair, live);
    }
  }
}

void Finder::replace(Pair pair, const std::vector<std::uint32_t>& places) {
  const auto fresh = static_cast<std::uint32_t>(symbols_.size());
  symbols_.emplace_back();
  symbols_.back().left = static_cast<std::uint32_t>(pair >> 32);
  symbols_.back().right = static_cast<std::uint32_t>(pair);
  for (const std::uint32_t at : places) {
    const std::uint32_t after = next_[at];
    text_[at] = fresh;
    text_[after] = kNone;
    next_[at] = next_[after];
    if (next_[after] < text_.size()) prev_[next_[after]] = at;
  }
  for (const std::uint32_t at : places) {
    note(at);
    if (prev_[at] != kNone) note(prev_[at]);
  }
}

void Finder::countUses() {
  for (Symbol& symbol : symbols_) symbol.uses = 0;
  for (const std::uint32_t start : starts_) {
    for (std::uint32_t at = start; at < text_.size() && text_[at] != kNone; at = next_[at])
      ++symbols_[text_[at]].uses;
  }
  // A pair comes after its parts. As a subroutine it writes them once, opened wherever it stands.
  for (std::size_t i = symbols_.size(); i-- > 0;) {
    const Symbol& symbol = symbols_[i];
    if (symbol.left == kNone) continue;
    const std::size_t times = symbol.subroutine ? std::min<std::size_t>(symbol.uses, 1) : symbol.uses;
    symbols_[symbol.left].uses += times;
    symbols_[symbol.right].uses += times;
  }
}

// Every symbol that occurs twice is one at first; then those that do not pay are opened, which changes what
// others save.
void Finder::choose() {
  for (Symbol& symbol : symbols_) symbol.subroutine = true;
  for (int round = 0; round < 6; ++round) {
    countUses();
    bool changed = false;
    for (Symbol& symbol : symbols_) {
      const auto part = [&](std::uint32_t index) {
        const Symbol& inner = symbols_[index];
        symbol.size += inner.subroutine ? kCallSize : inner.size;
        symbol.depth = std::max(symbol.depth, inner.depth + (inner.subroutine ? 1 : 0));
      };
      symbol.size = symbol.text.size();
      symbol.depth = 0;
      if (symbol.left != kNone) {
        part(symbol.left);
        part(symbol.right);
      }
      if (!symbol.subroutine) continue;
      const bool pays = symbol.uses >= 2 && symbol.depth < kDeepest &&
                        symbol.uses * symbol.size > symbol.size + kOwnSize + symbol.uses * kCallSize;
      changed = changed || !pays;
      symbol.subroutine = pays;
    }
    if (!changed) return;
  }
}

// The most called ones get the shortest numbers.
void Finder::number() {
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < symbols_.size(); ++i) {
    if (symbols_[i].subroutine) order.push_back(i);
  }
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return symbols_[a].uses > symbols_[b].uses; });
  for (std::size_t i = kMostSubroutines; i < order.size(); ++i) symbols_[order[i]].subroutine = false;
  order.resize(std::min(order.size(), kMostSubroutines));
  subroutines_ = order.size();
  const std::size_t bias = subroutines_ < 1240 ? 107 : subroutines_ < 33900 ? 1131 : 32768;
  // Numbers by distance from the bias.
  std::vector<std::size_t> numbers(order.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = i;
  const auto distance = [&](std::size_t n) { return n < bias ? bias - n : n - bias; };
  std::stable_sort(numbers.begin(), numbers.end(),
                   [&](std::size_t a, std::size_t b) { return distance(a) < distance(b); });
  for (std::size_t i = 0; i < order.size(); ++i) symbols_[order[i]].number = numbers[i];
}

void Finder::call(const Symbol& symbol, Writer& out) const {
  const int bias = subroutines_ < 1240 ? 107 : subroutines_ < 33900 ? 1131 : 32768;
  const int value = static_cast<int>(symbol.number) - bias;
  if (value >= -107 && value <= 107) {
    out.u8(static_cast<std::uint32_t>(value + 139));
  } else if (value >= 108 && value <= 1131) {
    out.u8(static_cast<std::uint32_t>(247 + (value - 108) / 256));
    out.u8(static_cast<std::uint32_t>((value - 108) % 256));
  } else if (value <= -108 && value >= -1131) {
    out.u8(static_cast<std::uint32_t>(251 + (-value - 108) / 256));
    out.u8(static_cast<std::uint32_t>((-value - 108) % 256));
  } else {
    out.u8(28);
    out.u16(static_cast<std::uint16_t>(value));
  }
  out.u8(kCallGlobal);
}

// Pairs nest as deep as there are doublings, and deeper in odd cases, so they are opened on a stack of our
// own.
void Finder::write(std::uint32_t symbol, bool open, Writer& out) const {
  std::vector<std::uint32_t> todo = {symbol};
  while (!todo.empty()) {
    const Symbol& top = symbols_[todo.back()];
    todo.pop_back();
    if (top.subroutine && !open) {
      call(top, out);
    } else if (top.left == kNone) {
      out.bytes(top.text);
    } else {
      todo.push_back(top.right);
      todo.push_back(top.left);
    }
    open = false;
  }
}

std::vector<Bytes> Finder::run() {
  if (!read()) return {};
  replacePairs();
  choose();
  number();
  if (subroutines_ == 0) return {};
  std::vector<Bytes> subroutines(subroutines_);
  for (std::uint32_t i = 0; i < symbols_.size(); ++i) {
    if (!symbols_[i].subroutine) continue;
    Writer out;
    write(i, true, out);
    out.u8(kReturn);
    subroutines[symbols_[i].number] = out.take();
  }
  for (std::size_t c = 0; c < charstrings_.size(); ++c) {
    Writer out;
    for (std::uint32_t at = starts_[c]; text_[at] != kNone; at = next_[at]) write(text_[at], false, out);
    out.bytes(ByteView(charstrings_[c]).subspan(restAt_[c]));
    charstrings_[c] = out.take();
  }
  return subroutines;
}

}  // namespace

std::vector<Bytes> buildSubroutines(std::vector<Bytes>& charstrings) { return Finder(charstrings).run(); }

}  // namespace optimizer::font
