// What nearly every file of the host layer reads.
#ifndef HOST_PRECOMPILED_H_
#define HOST_PRECOMPILED_H_

#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "gnmi.grpc.pb.h"
#include "gnmi.pb.h"

#endif  // HOST_PRECOMPILED_H_
