// One line a figure, as text or as an element of a JSON array.
#include "bulk/report.h"

#include <cstdio>
#include <utility>

namespace nexa_bench {
namespace {

bool is_judged(const Figure& figure) { return figure.limit > 0; }

double ratio_of(const Figure& figure) { return figure.peer > 0 ? figure.ours / figure.peer : 0; }

bool is_above(const Figure& figure) {
  return is_judged(figure) && (!figure.measured || ratio_of(figure) > figure.limit);
}

const char* verdict_of(const Figure& figure) {
  if (!figure.measured) return "NO RESULT";
  if (!is_judged(figure)) return "";
  return is_above(figure) ? "ABOVE" : "OK";
}

}  // namespace

void Report::add(Figure figure) {
  if (!json_) {
    if (!started_) {
      std::printf("%-10s %-58s %12s %12s %-6s %7s %6s\n", "section", "", "ours", "peer", "",
                  "ratio", "limit");
    }
    started_ = true;
    std::printf("%-10s %-58s %12.3f ", figure.section.c_str(), figure.what.c_str(), figure.ours);
    if (figure.peer > 0) {
      std::printf("%12.3f %-6s %7.2f ", figure.peer, figure.unit.c_str(), ratio_of(figure));
    } else {
      std::printf("%12s %-6s %7s ", "", figure.unit.c_str(), "");
    }
    if (is_judged(figure)) {
      std::printf("%6.1f  %s\n", figure.limit, verdict_of(figure));
    } else {
      std::printf("%6s  %s\n", "", verdict_of(figure));
    }
    std::fflush(stdout);
  }
  figures_.push_back(std::move(figure));
}

void Report::note(const std::string& text) {
  if (!json_) std::printf("%s\n", text.c_str());
}

bool Report::finish() const {
  bool good = true;
  if (json_) std::printf("[\n");
  for (std::size_t index = 0; index < figures_.size(); ++index) {
    const Figure& figure = figures_[index];
    good = good && !is_above(figure);
    if (!json_) continue;
    std::printf(
        "  {\"section\": \"%s\", \"what\": \"%s\", \"unit\": \"%s\", \"ours\": %.6g, "
        "\"peer\": %.6g, \"ratio\": %.4g, \"limit\": %.3g, \"verdict\": \"%s\"}%s\n",
        figure.section.c_str(), figure.what.c_str(), figure.unit.c_str(), figure.ours, figure.peer,
        ratio_of(figure), figure.limit, verdict_of(figure), index + 1 < figures_.size() ? "," : "");
  }
  if (json_) std::printf("]\n");
  return good;
}

}  // namespace nexa_bench
