// Every client has its own pool of subchannels: gRPC would otherwise share one connection.
#include "nexad/client.h"

#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

namespace nexa_bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFewestRounds = 3;
constexpr unsigned kIdleIntervalSeconds = 3600;

void require(const grpc::Status& status, const char* what) {
  if (status.ok()) return;
  std::fprintf(stderr, "nexad_bench: %s: code %d, %s\n", what, status.error_code(),
               status.error_message().c_str());
  std::_Exit(1);
}

gnmi::Path description_of(const std::string& name) {
  gnmi::Path path;
  path.add_elem()->set_name("ietf-interfaces:interfaces");
  gnmi::PathElem* entry = path.add_elem();
  entry->set_name("interface");
  (*entry->mutable_key())["name"] = name;
  path.add_elem()->set_name("description");
  return path;
}

std::string name_of(const std::string& stem, int number) { return stem + std::to_string(number); }

std::string entry_json(const std::string& name, int round) {
  return R"({"name":")" + name + R"(","type":"iana-if-type:ethernetCsmacd","enabled":true,)" +
         R"("description":"round )" + std::to_string(round) + R"("})";
}

gnmi::SetRequest entries_request(const std::string& stem, int first, int last, int round) {
  gnmi::SetRequest request;
  gnmi::Update* update = request.add_update();
  update->mutable_path()->add_elem()->set_name("ietf-interfaces:interfaces");
  std::string json = R"({"interface":[)";
  for (int number = first; number < last; ++number) {
    if (number > first) json += ',';
    json += entry_json(name_of(stem, number), round);
  }
  update->mutable_val()->set_json_ietf_val(json + "]}");
  return request;
}

}  // namespace

Client::Client(const std::string& address) {
  grpc::ChannelArguments arguments;
  arguments.SetInt(GRPC_ARG_USE_LOCAL_SUBCHANNEL_POOL, 1);
  arguments.SetMaxReceiveMessageSize(-1);
  stub_ = gnmi::gNMI::NewStub(
      grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments));
}

void Client::set(const gnmi::SetRequest& request) {
  grpc::ClientContext context;
  gnmi::SetResponse response;
  require(stub_->Set(&context, request, &response), "Set");
}

void Client::get(const gnmi::GetRequest& request, int expected) {
  grpc::ClientContext context;
  gnmi::GetResponse response;
  require(stub_->Get(&context, request, &response), "Get");
  if (response.notification_size() == expected) return;
  require({grpc::StatusCode::DATA_LOSS, "an answer without all the leaves"}, "Get");
}

void Client::add_interfaces(const std::string& stem, int first, int last) {
  set(entries_request(stem, first, last, 0));
}

void Client::set_entries(const std::string& stem, int count, int round) {
  set(entries_request(stem, 0, count, round));
}

void Client::set_leaf(int interface, int value) {
  gnmi::SetRequest request;
  gnmi::Update* update = request.add_update();
  *update->mutable_path() = description_of(name_of("eth", interface));
  update->mutable_val()->set_json_ietf_val("\"value " + std::to_string(value) + "\"");
  set(request);
}

void Client::get_leaf(int interface) {
  gnmi::GetRequest request;
  *request.add_path() = description_of(name_of("eth", interface));
  request.set_encoding(gnmi::JSON_IETF);
  get(request, 1);
}

void Client::get_leaves(int count) {
  gnmi::GetRequest request;
  for (int number = 0; number < count; ++number) {
    *request.add_path() = description_of(name_of("eth", number));
  }
  request.set_encoding(gnmi::JSON_IETF);
  get(request, count);
}

struct IdleStreams::Stream {
  grpc::ClientContext context;
  std::unique_ptr<grpc::ClientReaderWriter<gnmi::SubscribeRequest, gnmi::SubscribeResponse>> call;
};

IdleStreams::IdleStreams(const std::string& address, int streams, int per_connection, Kind kind) {
  gnmi::SubscribeRequest request;
  gnmi::SubscriptionList* list = request.mutable_subscribe();
  list->set_encoding(gnmi::JSON_IETF);
  gnmi::Subscription* subscription = list->add_subscription();
  *subscription->mutable_path() = description_of("eth0");
  if (kind == Kind::kOnChange) {
    subscription->set_mode(gnmi::ON_CHANGE);
  } else {
    subscription->set_mode(gnmi::SAMPLE);
    subscription->set_sample_interval(kIdleIntervalSeconds * 1000000000ULL);
  }
  for (int number = 0; number < streams; ++number) {
    if (number % per_connection == 0) clients_.push_back(std::make_unique<Client>(address));
    auto stream = std::make_unique<Stream>();
    stream->call = clients_.back()->stub().Subscribe(&stream->context);
    stream->call->Write(request);
    streams_.push_back(std::move(stream));
  }
  for (const auto& stream : streams_) {
    gnmi::SubscribeResponse response;
    do {
      if (!stream->call->Read(&response)) require(stream->call->Finish(), "Subscribe");
    } while (!response.sync_response());
  }
}

void IdleStreams::read_each() {
  for (const auto& stream : streams_) {
    gnmi::SubscribeResponse response;
    if (!stream->call->Read(&response)) require(stream->call->Finish(), "Subscribe");
  }
}

IdleStreams::~IdleStreams() {
  for (const auto& stream : streams_) stream->context.TryCancel();
  for (const auto& stream : streams_) {
    gnmi::SubscribeResponse response;
    while (stream->call->Read(&response)) continue;
    static_cast<void>(stream->call->Finish());
  }
}

Timing measure(std::size_t connections, double seconds,
               const std::function<void(std::size_t connection, int round)>& work) {
  std::vector<std::vector<double>> times(connections);
  const auto began = Clock::now();
  const auto ends = began + std::chrono::duration<double>(seconds);
  std::vector<std::thread> threads;
  for (std::size_t connection = 0; connection < connections; ++connection) {
    threads.emplace_back([&, connection] {
      for (int round = 0; round < kFewestRounds || Clock::now() < ends; ++round) {
        const auto start = Clock::now();
        work(connection, round);
        times[connection].push_back(
            std::chrono::duration<double, std::micro>(Clock::now() - start).count());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const double elapsed = std::chrono::duration<double>(Clock::now() - began).count();
  std::vector<double> all;
  for (const std::vector<double>& each : times) all.insert(all.end(), each.begin(), each.end());
  std::sort(all.begin(), all.end());
  const auto at = [&](double part) {
    return all[static_cast<std::size_t>(part * static_cast<double>(all.size() - 1))];
  };
  return {static_cast<double>(all.size()) / elapsed, at(0.5), at(0.99)};
}

}  // namespace nexa_bench
