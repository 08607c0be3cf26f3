// Sets and paths at random over the example modules: lists in lists, leaf-lists, choices, presence
// and defaults come and go.
#ifndef TESTS_TELEMETRY_SUPPORT_RANDOM_SETS_H_
#define TESTS_TELEMETRY_SUPPORT_RANDOM_SETS_H_

#include <random>
#include <string>
#include <vector>

#include "server/support/store_fixture.h"

namespace nexa_test {

class RandomSets : public StoredServiceTest {
 protected:
  int pick(int below) { return std::uniform_int_distribution<int>(0, below - 1)(random_); }
  std::string port() { return "p" + std::to_string(pick(6)); }
  std::string number(int below) { return std::to_string(pick(below)); }

  std::string random_path() {
    const std::vector<std::string> paths = {
        "/",
        "/device",
        "/*",
        "/device/*",
        "/device/*/*",
        "/device/port",
        "/device/port[name=" + port() + "]",
        "/device/port[name=*]/speed",
        "/.../speed",
        "/device/port[name=" + port() + "]/route",
        "/device/port/route[metric=" + number(3) + "]",
        "/device/port[name=" + port() + "]/route[prefix=*][metric=" + number(3) + "]/next-hop",
        "/device/port[name=*]/route[prefix=q" + number(3) + "][metric=" + number(3) + "]",
        "/device/.../next-hop",
        "/.../port/.../prefix",
        "/device/search",
        "/device/port/tag",
        "/device/port[name=" + port() + "]/tag",
        "/device/limits",
        "/device/*/medium",
        "/device/debug",
        "/services",
        "/device/location",
        "/device/name",
        "/device/ssh/port",
        "/device/port[name=" + port() + "]/name",
        "/example-device:device/limits/*"};
    return paths[static_cast<std::size_t>(pick(static_cast<int>(paths.size())))];
  }

  std::string port_value() {
    std::string value = R"({"speed":")" + number(4) + R"(","tag":["t)" + number(3) + R"("])";
    if (pick(2) == 0) {
      value += R"(,"route":[{"prefix":"q)" + number(3) + R"(","metric":)" + number(3) +
               R"(,"next-hop":"h)" + number(9) + R"("}])";
    }
    return value + "}";
  }

  // One Set, which may change nothing.
  std::string change() {
    const std::string at = "/device/port[name=" + port() + "]";
    switch (pick(16)) {
      case 0:
      case 1:
      case 2:
        return update(at, port_value());
      case 3:
      case 4:
        return update(at + "/speed", "\"" + number(4) + "\"");
      case 5:
        return replace(at, port_value());
      case 6:
        return remove(at);
      case 7:
        return remove("/device/port/route[metric=" + number(3) + "]");
      case 8:
        return pick(2) == 0 ? remove("/device/location")
                            : update("/device/location", "\"" + number(3) + "\"");
      case 9:
        return replace("/device/search", pick(2) == 0 ? R"(["a","b"])" : R"(["b","a","c"])");
      case 10:
        return pick(3) == 0 ? remove("/device/search") : remove(at + "/tag");
      case 11:
        return update("/device/limits",
                      R"({"tiny":)" + number(5) + R"(,"medium":)" + number(5) + "}");
      case 12:
        return pick(2) == 0 ? remove("/device/limits") : update("/device/debug", R"({"level":1})");
      case 13:
        return pick(2) == 0 ? remove("/device/debug") : update("/device/ssh", R"({"port":22})");
      case 14:
        return pick(2) == 0 ? update("/device/console", "true") : update("/services/ntp", "true");
      default:
        return pick(8) == 0 ? remove("/device")
                            : replace(
                                  "/device/port", "[" + [this] {
                                    std::string entry = port_value();
                                    entry.insert(1, R"("name":")" + port() + R"(",)");
                                    return entry + "]";
                                  }());
    }
  }

  std::mt19937 random_{7};
};

}  // namespace nexa_test

#endif  // TESTS_TELEMETRY_SUPPORT_RANDOM_SETS_H_
