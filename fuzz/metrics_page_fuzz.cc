// What a stranger writes to the page of metrics: one answer, whole, and the page for nothing but a
// GET of it.
#include "metrics_page.h"

#include <string>
#include <string_view>

#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string request = fuzz::text_of(data, size);
  bool is_shown = false;
  const std::string answer = nexad::answer_metrics_request(request, [&is_shown] {
    is_shown = true;
    return std::string("nexad_up 1\n");
  });
  const std::string_view wanted = is_shown ? "HTTP/1.1 200 OK\r\n" : "HTTP/1.1 4";
  if (answer.rfind(wanted, 0) != 0) fuzz::fail("another status", answer);
  if (is_shown && request.rfind("GET /metrics", 0) != 0) fuzz::fail("shown for", request);
  const std::size_t end = answer.find("\r\n\r\n");
  if (end == std::string::npos) fuzz::fail("no end of the headers", answer);
  const std::string length = std::to_string(answer.size() - end - 4);
  if (answer.find("Content-Length: " + length + "\r\n") == std::string::npos) {
    fuzz::fail("another length", answer);
  }
  return 0;
}
