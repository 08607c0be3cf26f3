// What nearly every unit reads and none of them changes: the generated messages, the containers,
// the C libraries. No header of the project belongs here, for then a change of it would rebuild
// everything; and nothing of gRPC's server, which only the units of the service need.
#ifndef CMAKE_PRECOMPILED_MESSAGES_H_
#define CMAKE_PRECOMPILED_MESSAGES_H_

#include <cjson/cJSON.h>
#include <grpc/support/log.h>
#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <algorithm>
#include <array>
#include <boost/optional.hpp>
#include <boost/variant.hpp>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "gnmi.pb.h"
#include "nexa.pb.h"

#endif  // CMAKE_PRECOMPILED_MESSAGES_H_
