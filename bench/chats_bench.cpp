// What 10,000 chats cost in memory, and what reading one chat object costs in time.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <simdjson.h>

#include <string>
#include <vector>

#include "bench/chat_texts.h"
#include "state/chat_rows.h"

namespace {

// Nine chats in ten have the settings that TDLib gives a new chat.
std::string nth_chat(std::int64_t i) {
  ChatText chat;
  chat.id = i % 2 == 0 ? i : -1000000000000 - i;
  chat.type = i % 2 == 0 ? private_type(i) : super_type(i, i % 3 == 0);
  chat.title = "The chat with number " + std::to_string(i);
  chat.photo = photo_info(2 * i, 2 * i + 1);
  chat.last_message = trap_message(chat.id, 5);
  chat.positions = position("chatListMain", std::to_string(7000000000000000000 + i));
  if (i % 10 == 0) chat.settings = mute_settings(false, 1000000 + i);
  return chat_text(chat);
}

std::int64_t heap_bytes() {
  const struct mallinfo2 info = mallinfo2();
  return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

void BM_ChatTableMemory(benchmark::State& state) {
  const std::int64_t count = state.range(0);
  std::vector<std::string> texts;
  for (std::int64_t i = 1; i <= count; ++i) texts.push_back(nth_chat(i));
  std::int64_t bytes = 0;
  for (auto _ : state) {
    const std::int64_t before = heap_bytes();
    ChatTable table;
    for (const std::string& text : texts) benchmark::DoNotOptimize(record_chat(table, text));
    bytes = heap_bytes() - before;
  }
  state.counters["bytes_per_chat"] = static_cast<double>(bytes) / static_cast<double>(count);
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_ChatTableMemory)->Arg(10000)->Unit(benchmark::kMillisecond);

// The yardstick: the titles and settings alone, a plain hash table each.
void BM_TwoTablesOfStrings(benchmark::State& state) {
  const std::int64_t count = state.range(0);
  std::int64_t bytes = 0;
  for (auto _ : state) {
    const std::int64_t before = heap_bytes();
    std::unordered_map<std::int64_t, std::string> titles;
    std::unordered_map<std::int64_t, std::string> settings;
    for (std::int64_t i = 1; i <= count; ++i) {
      titles[i] = "The chat with number " + std::to_string(i);
      settings[i] = i % 10 == 0 ? mute_settings(false, 1000000 + i) : mute_settings(true, 0);
    }
    bytes = heap_bytes() - before;
  }
  state.counters["bytes_per_chat"] = static_cast<double>(bytes) / static_cast<double>(count);
  state.SetItemsProcessed(state.iterations() * count);
}
BENCHMARK(BM_TwoTablesOfStrings)->Arg(10000)->Unit(benchmark::kMillisecond);

void BM_DescribeChat(benchmark::State& state) {
  const std::string text = nth_chat(7);
  for (auto _ : state) {
    const std::string_view chat = find_chat_object(text);
    benchmark::DoNotOptimize(describe_chat(7, read_chat_object(chat)));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_DescribeChat);

// The yardstick: simdjson's DOM parser over the same text, the chat's own scalars read.
void BM_SimdjsonDomChat(benchmark::State& state) {
  const simdjson::padded_string text(nth_chat(7));
  simdjson::dom::parser parser;
  for (auto _ : state) {
    const simdjson::dom::element chat = parser.parse(text);
    benchmark::DoNotOptimize(std::string(std::string_view(chat["title"])));
    benchmark::DoNotOptimize(std::string(std::string_view(chat["type"]["@type"])));
    benchmark::DoNotOptimize(std::int64_t(chat["unread_count"]));
    benchmark::DoNotOptimize(std::int64_t(chat["last_read_outbox_message_id"]));
    benchmark::DoNotOptimize(std::int64_t(chat["photo"]["small"]["id"]));
    benchmark::DoNotOptimize(std::int64_t(chat["last_message"]["id"]));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_SimdjsonDomChat);

}  // namespace
