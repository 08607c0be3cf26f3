// Texts drawn from an XML Schema pattern: groups, alternatives, classes and quantifiers. Character
// classes of Unicode properties and subtractions are approximated; callers check what they get.
#include <algorithm>

#include "support/instance_generator.h"

namespace nexa_test {
namespace {

class Sampler {
 public:
  Sampler(const std::string& pattern, std::mt19937& random) : pattern_(pattern), random_(random) {}

  std::string run() { return alternatives(); }

 private:
  int below(std::size_t limit) { return static_cast<int>(random_() % limit); }
  bool more() const { return at_ < pattern_.size(); }
  char peek() const { return pattern_[at_]; }

  // All alternatives are read; one is kept.
  std::string alternatives() {
    std::vector<std::string> texts = {sequence()};
    while (more() && peek() == '|') {
      ++at_;
      texts.push_back(sequence());
    }
    return texts[static_cast<std::size_t>(below(texts.size()))];
  }

  std::string sequence() {
    std::string text;
    while (more() && peek() != '|' && peek() != ')') text += quantified();
    return text;
  }

  std::string quantified() {
    const std::size_t start = at_;
    std::string text = atom();
    const auto [least, most] = quantifier();
    const std::size_t end = at_;
    const int times = least + below(static_cast<std::size_t>(most - least + 1));
    if (times == 0) return {};
    for (int again = 1; again < times; ++again) {
      at_ = start;
      text += atom();
    }
    at_ = end;
    return text;
  }

  std::pair<int, int> quantifier() {
    if (!more()) return {1, 1};
    switch (peek()) {
      case '?':
        ++at_;
        return {0, 1};
      case '*':
        ++at_;
        return {0, 3};
      case '+':
        ++at_;
        return {1, 3};
      case '{':
        break;
      default:
        return {1, 1};
    }
    ++at_;
    int least = number();
    int most = least;
    if (more() && peek() == ',') {
      ++at_;
      most = more() && peek() == '}' ? least + 2 : number();
    }
    ++at_;
    return {least, std::min(most, least + 4)};
  }

  int number() {
    int value = 0;
    while (more() && peek() >= '0' && peek() <= '9') value = value * 10 + (pattern_[at_++] - '0');
    return value;
  }

  std::string atom() {
    const char c = pattern_[at_++];
    switch (c) {
      case '(': {
        if (pattern_.compare(at_, 2, "?:") == 0) at_ += 2;
        std::string text = alternatives();
        ++at_;
        return text;
      }
      case '[':
        return std::string(1, from_class());
      case '\\':
        return std::string(1, escape());
      case '.':
        return "x";
      default:
        return std::string(1, c);
    }
  }

  char escape() {
    const char c = pattern_[at_++];
    switch (c) {
      case 'd':
        return static_cast<char>('0' + below(10));
      case 'w':
        return static_cast<char>('a' + below(26));
      case 's':
        return ' ';
      case 'S':
      case 'D':
      case 'c':
      case 'i':
        return 'x';
      case 'n':
        return '\n';
      case 't':
        return '\t';
      case 'p':
      case 'P': {
        const std::size_t close = pattern_.find('}', at_);
        const bool digit = pattern_.compare(at_, 2, "{N") == 0;
        at_ = close == std::string::npos ? pattern_.size() : close + 1;
        return digit ? '1' : 'a';
      }
      default:
        return c;
    }
  }

  char from_class() {
    std::string members;
    const bool negated = more() && peek() == '^';
    if (negated) ++at_;
    while (more() && peek() != ']') {
      if (peek() == '[') {  // a subtraction is skipped
        at_ = pattern_.find(']', at_) + 1;
        continue;
      }
      char first = pattern_[at_++];
      if (first == '\\') first = escape();
      if (more() && peek() == '-' && at_ + 1 < pattern_.size() && pattern_[at_ + 1] != ']' &&
          pattern_[at_ + 1] != '[') {
        ++at_;
        char last = pattern_[at_++];
        if (last == '\\') last = escape();
        for (int c = first; c <= last; ++c) members += static_cast<char>(c);
      } else {
        members += first;
      }
    }
    ++at_;
    if (negated) {
      static constexpr char kOthers[] = "xyz019_-./:,ABC";
      std::string others;
      for (const char c : std::string(kOthers)) {
        if (members.find(c) == std::string::npos) others += c;
      }
      members = others;
    }
    return members.empty() ? 'x' : members[static_cast<std::size_t>(below(members.size()))];
  }

  const std::string& pattern_;
  std::mt19937& random_;
  std::size_t at_ = 0;
};

}  // namespace

std::string sample_pattern(const std::string& pattern, std::mt19937& random) {
  return Sampler(pattern, random).run();
}

}  // namespace nexa_test
