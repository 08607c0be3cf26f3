// Headers that every unit pays for and none of them changes.
#include <cjson/cJSON.h>
#include <grpc/support/log.h>
#include <grpcpp/support/status.h>
#include <libxml/tree.h>

#include <boost/optional.hpp>
#include <boost/variant.hpp>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "gnmi.pb.h"
#include "nexa.pb.h"
