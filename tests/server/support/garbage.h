// Requests that no client sends: nearly right names, keys without lists, half a JSON text.
#ifndef TESTS_SERVER_SUPPORT_GARBAGE_H_
#define TESTS_SERVER_SUPPORT_GARBAGE_H_

#include <random>
#include <string>

#include "gnmi.pb.h"

namespace nexa_test {

// The same seed gives the same requests.
class Garbage {
 public:
  explicit Garbage(unsigned seed) : random_(seed) {}

  gnmi::GetRequest get();
  gnmi::SetRequest set();
  gnmi::SubscribeRequest subscribe();

  int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }

 private:
  std::string text();
  void fill(gnmi::Path& path);
  void fill(gnmi::TypedValue& value);
  void fill(gnmi::Update& update);

  std::mt19937 random_;
};

}  // namespace nexa_test

#endif  // TESTS_SERVER_SUPPORT_GARBAGE_H_
