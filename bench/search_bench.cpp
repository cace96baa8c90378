// The search kernel beside memmem and std::string_view::find, over every text of the corpus and
// the kinds of needle that dispatching and scanning use; then the scanners and the walk.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <string_view>

#include "bench/corpus.h"
#include "json/kernels.h"
#include "json/scan.h"
#include "json/search.h"
#include "json/text.h"
#include "json/walk.h"

namespace {

struct Needle {
  const char* name;
  std::string bytes;
};

// A marker at the very start, a key pattern somewhere, the tag at the end, and what is missing:
// most searches of an update miss.
std::vector<Needle> needles_for(const std::string& text) {
  return {{"start", text.substr(0, text.find(',') + 1)},
          {"tag", text.substr(text.rfind(",\"@client_id\""))},
          {"key_miss", "\"user_id_\":"},
          {"type_miss", "\"@type\":\"updateMessageSendSucceeded\""},
          {"short_miss", "\"ok\""}};
}

std::size_t by_memmem(std::string_view text, std::string_view needle) {
  const void* at = memmem(text.data(), text.size(), needle.data(), needle.size());
  return at == nullptr ? kNotFound
                       : static_cast<std::size_t>(static_cast<const char*>(at) - text.data());
}
std::size_t by_find(std::string_view text, std::string_view needle) { return text.find(needle); }
std::size_t by_kernel(std::string_view text, std::string_view needle) {
  return find_bytes(text, needle);
}
std::size_t by_plain(std::string_view text, std::string_view needle) {
  return find_bytes_plain(text, needle, 0);
}

struct Searcher {
  const char* name;
  std::size_t (*search)(std::string_view, std::string_view);
};
constexpr Searcher kSearchers[] = {{"find_bytes", by_kernel},
                                   {"memmem", by_memmem},
                                   {"string_view_find", by_find},
                                   {"find_bytes_plain", by_plain}};

void run_search(benchmark::State& state, const Searcher& searcher, const std::string& text,
                const std::string& needle) {
  std::string_view hidden_text = text;
  std::string_view hidden_needle = needle;
  std::size_t at = 0;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(hidden_text);
    benchmark::DoNotOptimize(hidden_needle);
    at = searcher.search(hidden_text, hidden_needle);
    benchmark::DoNotOptimize(at);
  }
  const std::size_t passed = at == kNotFound ? text.size() : at + needle.size();
  state.SetBytesProcessed(static_cast<std::int64_t>(passed) * state.iterations());
}

// Every member of every container, as deep as it goes.
std::size_t walk_all(std::string_view value) {
  std::size_t seen = 1;
  if (value.front() == '{') {
    ObjectWalk walk{value};
    for (std::string_view key; next_key(walk, key);) seen += walk_all(take_value(walk));
  } else if (value.front() == '[') {
    ArrayWalk walk{value};
    for (std::string_view element; next_element(walk, element);) seen += walk_all(element);
  }
  return seen;
}

// What a page costs before anything is made of it: each message bounded, its own members seen.
std::size_t walk_messages(std::string_view page) {
  std::size_t seen = 0;
  ArrayWalk messages{member_array(page, "messages")};
  for (std::string_view message; next_element(messages, message);) {
    ObjectWalk walk{message};
    for (std::string_view key; next_key(walk, key);) ++seen;
  }
  return seen;
}

template <class Function>
void run_over(benchmark::State& state, const std::string& text, Function function) {
  std::string_view hidden = text;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(hidden);
    auto result = function(hidden);
    benchmark::DoNotOptimize(result);
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(text.size()) * state.iterations());
}

template <class Function>
void add([[maybe_unused]] const std::string& name, [[maybe_unused]] Function function) {
#ifndef __clang_analyzer__  // which takes what the library keeps for a leak
  benchmark::RegisterBenchmark(name.c_str(), function);
#endif
}

template <class Function>
void add_over(const char* name, const char* text, Function function) {
  add(std::string(name) + '/' + text,
      [text, function](benchmark::State& state) { run_over(state, corpus_text(text), function); });
}

// Both chosen bytes match at every place and the needle's end never does: a search that stays
// linear passes as many bytes a second with the long needle as with the short one.
void add_near_matches() {
  static const std::string text(std::size_t{1} << 20, 'a');
  for (const std::size_t length : {1000U, 100000U}) {
    for (const Searcher& searcher : kSearchers) {
      add("near_matches/" + std::to_string(length) + '/' + searcher.name,
          [&searcher, needle = std::string(length, 'a') + 'b' + std::string(40, 'a')](
              benchmark::State& state) { run_search(state, searcher, text, needle); });
    }
  }
}

bool register_all() {
  add_near_matches();
  for (const CorpusText& entry : corpus()) {
    for (const Needle& needle : needles_for(entry.text)) {
      for (const Searcher& searcher : kSearchers) {
        add(std::string(entry.name) + '/' + needle.name + '/' + searcher.name,
            [&entry, &searcher, bytes = needle.bytes](benchmark::State& state) {
              run_search(state, searcher, entry.text, bytes);
            });
      }
    }
  }
  for (const char* text : {"message", "chat", "history"}) {
    add_over("int_field_miss", text,
             [](std::string_view t) { return extract_json_int_field(t, "no_such_key"); });
    add_over("walk_top", text,
             [](std::string_view t) { return object_member(t, "@client_id").size(); });
    add_over("walk_all", text, walk_all);
  }
  add_over("int64_array", "chat_ids", [](std::string_view t) {
    return extract_json_int64_array_field(t, "chat_ids", 200).size();
  });
  add_over("walk_messages", "history", walk_messages);
  add_over("object_raw_at", "history",
           [](std::string_view t) { return extract_json_object_raw_at(t, 0).size(); });
  add_over("unescape", "long_posts", [](std::string_view t) { return json_unescape(t).size(); });
  add_over("unescape", "history", [](std::string_view t) { return json_unescape(t).size(); });
  add("unescape/sentence", [](benchmark::State& state) {
    const std::string page = corpus_text("history");
    const std::size_t begin = page.find("\\u0414");
    run_over(state, page.substr(begin, page.find('"', begin) - begin),
             [](std::string_view t) { return json_unescape(t).size(); });
  });
  add_over("escape", "history", [](std::string_view t) { return json_escape(t).size(); });
  return true;
}

const bool kRegistered = register_all();

}  // namespace
