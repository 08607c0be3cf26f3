// The figures of one run: each beside its peer's, with the ratio, the limit and the verdict.
#ifndef BENCH_BULK_REPORT_H_
#define BENCH_BULK_REPORT_H_

#include <string>
#include <vector>

namespace nexa_bench {

struct Figure {
  std::string section;
  std::string what;
  std::string unit;      // "ms", "MB", "us", ...
  double ours = 0;       // in the unit
  double peer = 0;       // in the unit; 0: no peer, nothing to judge
  double limit = 0;      // of ours / peer; 0: for information
  bool measured = true;  // false: the measurement did not come to an end
};

class Report {
 public:
  // With `json` nothing is printed before finish().
  explicit Report(bool json) : json_(json) {}

  // Prints the line at once: a run is long.
  void add(Figure figure);

  // A line of text that belongs to the figures.
  void note(const std::string& text);

  // Prints what is left to print; whether every limit was kept.
  bool finish() const;

 private:
  bool json_;
  bool started_ = false;
  std::vector<Figure> figures_;
};

}  // namespace nexa_bench

#endif  // BENCH_BULK_REPORT_H_
