// A history answer of 100 messages becomes 100 "message" lines, and a new message its line: the
// program beside other parsers that read the same fields into the same record and write the same
// lines to the same place. simdjson gets its texts with the padding it needs, made beforehand; the
// program gets them as TDLib hands them over.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "bench/corpus.h"
#include "bench/yardsticks.h"
#include "frame/channels.h"
#include "state/message.h"
#include "state/message_events.h"
#include "tests/event_lines.h"

namespace {

using Emit = void (*)(const MessagePreview& message, const Sender& sender);

void emit_page_line(const MessagePreview& message, const Sender& sender) {
  emit_message_event(message.chat_id, 7, message, sender);
}

// A text and the reading of it: a whole page, or one update with a message.
struct Input {
  std::string text;
  simdjson::padded_string padded;
  bool page;
  Emit emit;

  Input(const std::string& json, bool is_page, Emit emit_line)
      : text(json), padded(json), page(is_page), emit(emit_line) {}
};

void by_program(const Input& input) {
  MessagePreview message;
  std::int64_t sender = 0;
  if (!input.page) {
    if (parse_first_message(input.text, kFullMessage, message, sender)) {
      input.emit(message, find_sender(sender));
    }
    return;
  }
  MessagePage page = open_message_page(input.text);
  while (next_message(page, kFullMessage, message, sender)) {
    input.emit(message, find_sender(sender));
  }
}

template <class Node>
void read_tree(const Input& input, const Node& root) {
  MessagePreview message;
  std::int64_t sender = 0;
  const auto read = [&](const Node& node) {
    dom_reader::read_message(node, message, sender);
    input.emit(message, find_sender(sender));
  };
  if (input.page) {
    root.get("messages").each(read);
  } else {
    read(root.get("message"));
  }
}

void by_rapidjson(const Input& input) {
  rapidjson::Document document;
  document.Parse(input.text.data(), input.text.size());
  read_tree(input, RapidNode{&document});
}

void by_nlohmann(const Input& input) {
  const nlohmann::json document = nlohmann::json::parse(input.text);
  read_tree(input, NlohmannNode{&document});
}

void by_simdjson_dom(const Input& input) {
  static simdjson::dom::parser parser;
  read_tree(input, SimdNode{parser.parse(input.padded)});
}

void by_simdjson_on_demand(const Input& input) {
  static simdjson::ondemand::parser parser;
  simdjson::ondemand::document document;
  if (parser.iterate(input.padded).get(document) != simdjson::SUCCESS) std::abort();
  MessagePreview message;
  std::int64_t sender = 0;
  const auto read = [&](simdjson::ondemand::value value) {
    on_demand::read_message(value, message, sender);
    input.emit(message, find_sender(sender));
  };
  simdjson::ondemand::value root;
  if (document[input.page ? "messages" : "message"].get(root) != simdjson::SUCCESS) std::abort();
  if (input.page) {
    on_demand::elements(root, read);
  } else {
    read(root);
  }
}

struct Reader {
  const char* name;
  void (*read)(const Input& input);
};
constexpr Reader kReaders[] = {{"program", by_program},
                               {"simdjson_on_demand", by_simdjson_on_demand},
                               {"simdjson_dom", by_simdjson_dom},
                               {"rapidjson", by_rapidjson},
                               {"nlohmann", by_nlohmann}};

// Every reader writes the program's lines, or there is nothing to compare.
void check_lines(const char* name, const Input& input, std::size_t lines_expected) {
  std::vector<std::string> expected;
  for (const Reader& reader : kReaders) {
    EventLines lines;
    reader.read(input);
    const std::vector<std::string> written = lines.take();
    if (expected.empty()) expected = written;
    if (written == expected && written.size() == lines_expected) continue;
    std::fprintf(stderr, "%s: %s writes other lines than the program\n", name, reader.name);
    for (std::size_t i = 0; i < written.size() && i < expected.size(); ++i) {
      if (written[i] == expected[i]) continue;
      std::fprintf(stderr, "%s\n%s\n", expected[i].c_str(), written[i].c_str());
      break;
    }
    std::exit(1);
  }
}

void register_input(const char* name, const Input& input, std::size_t lines) {
  check_lines(name, input, lines);
  for (const Reader& reader : kReaders) {
    benchmark::RegisterBenchmark(
        (std::string(name) + "/" + reader.name).c_str(),
        [&input, read = reader.read](benchmark::State& state) {
          for (auto _ : state) read(input);
          state.SetBytesProcessed(static_cast<std::int64_t>(input.text.size()) *
                                  state.iterations());
        });
  }
}

// Everybody who writes in the corpus, so that names are told and none is asked for.
void learn_senders() {
  for (std::int64_t i = 0; i < 23; ++i) {
    UserInfo& user = g_user_cache.get(5100000000 + i * 7919);
    user.first_name = "Ann" + std::to_string(i);
    user.photo_small_id = 61 + i;
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  learn_senders();
  const Input history(corpus_text("history"), true, emit_page_line);
  const Input long_posts(corpus_text("long_posts"), true, emit_page_line);
  const Input message(corpus_text("message"), false, emit_message_new_event);
  // About 2 KiB: a text with reactions and replies.
  const Input larger(R"({"@type":"updateNewMessage","message":)" + corpus_message(54) + "}", false,
                     emit_message_new_event);
  register_input("history", history, 100);
  register_input("long_posts", long_posts, 100);
  register_input("message", message, 1);
  register_input("message_2k", larger, 1);
  g_events_fd = open("/dev/null", O_WRONLY);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
