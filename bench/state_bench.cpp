// What the tables cost: bytes an entry, and the time of an update as the tables grow and as service
// messages wait for names. std::unordered_map is the yardstick for the user table.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <malloc.h>
#include <time.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>

#include "bench/corpus.h"
#include "frame/channels.h"
#include "state/chat_rows.h"
#include "state/learn_user.h"
#include "state/message.h"
#include "state/service_messages.h"
#include "state/users.h"

namespace {

constexpr std::int64_t kFirstId = 5000000000;
constexpr std::int64_t kIdStep = 37;

std::size_t bytes_in_use() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

// An update of one user in TDLib's shape (1.8 KiB), whose id and name are changed in place.
class UserUpdate {
 public:
  UserUpdate() : text_(corpus_text("user")) {
    id_at_ = text_.find("\"@type\":\"user\",\"id\":") + std::strlen("\"@type\":\"user\",\"id\":");
    name_at_ = text_.find("\",\"last_name\"") - 1;
  }
  // The name's last letter is `letter` of 8.
  const std::string& of(std::int64_t id, std::int64_t letter) {
    std::memcpy(&text_[id_at_], std::to_string(id).data(), 10);
    text_[name_at_] = static_cast<char>('0' + letter % 8);
    return text_;
  }

 private:
  std::string text_;
  std::size_t id_at_;
  std::size_t name_at_;
};

// The users in an order without neighbours; in each round a user has another name.
struct Visit {
  std::int64_t users;
  std::int64_t count = 0;

  std::int64_t id() const { return kFirstId + count * 7919 % users * kIdStep; }
  std::int64_t round() const { return count / users + 1; }
};

void forget_users() {
  g_user_cache.clear();
  g_user_requested.clear();
  g_user_request_queue.clear();
  g_pending_service_messages.clear();
}

void fill_users(std::int64_t users) {
  if (static_cast<std::int64_t>(g_user_cache.size()) == users) return;
  forget_users();
  UserUpdate update;
  const int events = g_events_fd.exchange(-1);
  for (std::int64_t i = 0; i < users; ++i) learn_user(update.of(kFirstId + i * kIdStep, 0));
  g_events_fd = events;
}

void user_update_changed(benchmark::State& state) {
  fill_users(state.range(0));
  UserUpdate update;
  static std::int64_t visits = 0;  // goes on, so that a second run finds other names, too
  Visit visit{state.range(0), visits};
  for (auto _ : state) {
    learn_user(update.of(visit.id(), visit.round()));
    ++visit.count;
  }
  visits = visit.count;
}
void user_update_same(benchmark::State& state) {
  forget_users();
  fill_users(state.range(0));
  UserUpdate update;
  Visit visit{state.range(0)};
  for (auto _ : state) {
    learn_user(update.of(visit.id(), 0));
    ++visit.count;
  }
}
void user_lookup(benchmark::State& state) {
  fill_users(state.range(0));
  Visit visit{state.range(0)};
  for (auto _ : state) {
    benchmark::DoNotOptimize(find_user(visit.id()));
    ++visit.count;
  }
}
void user_lookup_unordered_map(benchmark::State& state) {
  std::unordered_map<std::int64_t, UserInfo> map;
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    map[kFirstId + i * kIdStep].first_name = "\xd0\x90\xd0\xbd\xd0\xb0";
  }
  Visit visit{state.range(0)};
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(visit.id()));
    ++visit.count;
  }
}
double thread_us() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

// The longest single insertion on the way to a million users: what the loop may have to wait for.
template <class Insert>
void longest_insertion(benchmark::State& state, Insert insert) {
  double longest = 0;
  for (auto _ : state) {
    for (std::int64_t i = 0; i < state.range(0); ++i) {
      const double begin = thread_us();
      insert(kFirstId + i * kIdStep);
      longest = std::max(longest, thread_us() - begin);
    }
  }
  state.counters["longest_us"] = longest;
}
void user_insert(benchmark::State& state) {
  IdTable<UserInfo> table;
  longest_insertion(state, [&table](std::int64_t id) { table.get(id); });
}
void user_insert_unordered_map(benchmark::State& state) {
  std::unordered_map<std::int64_t, UserInfo> map;
  longest_insertion(state, [&map](std::int64_t id) { map[id]; });
}

BENCHMARK(user_update_changed)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(user_update_same)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(user_lookup)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(user_lookup_unordered_map)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(user_insert)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(user_insert_unordered_map)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond);

// A service message that waits for `missing`; the sender is known.
std::string removal(std::int64_t message_id, std::int64_t sender, std::int64_t missing) {
  return R"({"@type":"message","id":)" + std::to_string(message_id) +
         R"(,"sender_id":{"@type":"messageSenderUser","user_id":)" + std::to_string(sender) +
         R"(},"chat_id":-1001234567890,"is_outgoing":false,"is_pinned":false,)" +
         R"("is_from_offline":false,"can_be_saved":true,"has_timestamped_media":true,)"
         R"("date":1760000000,"edit_date":0,"unread_reactions":[],"self_destruct_in":0,)"
         R"("auto_delete_in":0,"via_bot_user_id":0,"author_signature":"","media_album_id":"0",)"
         R"("effect_id":"0","content":{"@type":"messageChatDeleteMember","user_id":)" +
         std::to_string(missing) + "}}";
}

constexpr std::int64_t kUsers = 1000;
constexpr std::int64_t kUnknown = 6000000000;

// `count` messages wait; those of the sender `kFirstId` alone name a user who is updated.
void fill_pending(std::int64_t count) {
  forget_users();
  fill_users(kUsers);
  MessagePreview message;
  for (std::int64_t i = 0; i < count; ++i) {
    parse_first_message(removal(i + 2, kUnknown + count + i, kUnknown + i), message, 4096, false);
  }
}

void user_update_while_others_wait(benchmark::State& state) {
  fill_pending(state.range(0));
  UserUpdate update;
  Visit visit{kUsers};
  for (auto _ : state) {
    learn_user(update.of(visit.id(), visit.round()));
    ++visit.count;
  }
}
// One message names the user and stays, for its other name is missing; it is told again each time.
void user_update_told_while_others_wait(benchmark::State& state) {
  fill_pending(state.range(0));
  MessagePreview message;
  parse_first_message(removal(1, kFirstId, kUnknown - 1), message, 4096, false);
  UserUpdate update;
  std::int64_t round = 0;
  for (auto _ : state) learn_user(update.of(kFirstId, ++round));
}
BENCHMARK(user_update_while_others_wait)->Arg(0)->RangeMultiplier(10)->Range(100, 100000);
BENCHMARK(user_update_told_while_others_wait)->Arg(0)->RangeMultiplier(10)->Range(100, 100000);

// What `fill` leaves in memory, by entry.
template <class Fill>
void report_memory(benchmark::State& state, std::int64_t entries, Fill fill) {
  double bytes = 0;
  for (auto _ : state) {
    const std::size_t before = bytes_in_use();
    const auto kept = fill();
    benchmark::DoNotOptimize(kept);
    bytes = static_cast<double>(bytes_in_use() - before);
  }
  state.counters["bytes_per_entry"] = bytes / static_cast<double>(entries);
}

void memory_of_100k_users(benchmark::State& state) {
  forget_users();
  report_memory(state, 100000, [] {
    fill_users(100000);
    return g_user_cache.size();
  });
}
void memory_of_100k_users_unordered_map(benchmark::State& state) {
  fill_users(100000);
  report_memory(state, 100000, [] {
    auto map = std::make_unique<std::unordered_map<std::int64_t, UserInfo>>();
    for (std::int64_t i = 0; i < 100000; ++i) {
      const std::int64_t id = kFirstId + i * kIdStep;
      (*map)[id] = *find_user(id);
    }
    return map;
  });
}
void memory_of_10k_chats(benchmark::State& state) {
  report_memory(state, 10000, [] {
    auto table = std::make_unique<ChatTable>();
    const std::string& update = corpus_text("chat");
    const std::string key = "\"@type\":\"chat\",\"id\":-1001234567890";
    const std::size_t begin = update.find(key) - 1;
    std::string chat = update.substr(begin, update.rfind(",\"@client_id\"") - begin);
    for (std::int64_t i = 0; i < 10000; ++i) {
      std::memcpy(&chat[key.size() + 1 - 5], std::to_string(10000 + i).data(), 5);
      record_chat(*table, chat);
    }
    return table;
  });
}
void memory_of_10k_pending(benchmark::State& state) {
  fill_pending(0);
  report_memory(state, 10000, [] {
    fill_pending(10000);
    return g_pending_service_messages.size();
  });
  state.counters["of_it_message"] = static_cast<double>(removal(10000, kUnknown, kUnknown).size());
  forget_users();
}
BENCHMARK(memory_of_100k_users)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory_of_100k_users_unordered_map)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory_of_10k_chats)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(memory_of_10k_pending)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  g_events_fd = open("/dev/null", O_WRONLY);
  (void)corpus();  // built before memory is counted
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
