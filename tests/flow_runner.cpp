// Plays transcripts (tests/README.md) against the real program over the scripted library.
//
// usage: flow_runner FILE...
//
// After every step each stream of the program must have said exactly what stands below the
// step. With UPDATE=1 in the environment, what it said is written into the file instead.
// TD_BACKEND_PROGRAM in the environment names another build of the program.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/objects.h"
#include "tests/support/backend_run.h"

namespace {

// A step and what follows it: `before` are comments and blank lines, kept as they are.
struct Step {
  std::size_t number = 0;  // of its line in the file
  Lines before;
  std::string text;
  Lines said;
};

bool is_output(const std::string& line) {
  return line.size() >= 2 && line[1] == ' ' &&
         std::string_view("!*=|ELF").find(line[0]) != std::string_view::npos;
}

bool begins(std::string_view text, std::string_view begin) {
  return text.substr(0, begin.size()) == begin;
}

std::vector<Step> read_steps(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<Step> steps;
  Step step;
  std::string line;
  for (std::size_t number = 1; std::getline(file, line); ++number) {
    if (is_output(line) && step.before.empty() && !steps.empty()) {
      steps.back().said.push_back(line);
    } else if (line.empty() || line[0] == '#') {
      step.before.push_back(line);
    } else {
      step.number = number;
      step.text = line;
      steps.push_back(std::move(step));
      step = {};
    }
  }
  if (!step.before.empty()) steps.push_back(std::move(step));
  return steps;
}

Lines split(const std::string& text, const std::string& separator) {
  Lines parts;
  for (std::size_t begin = 0; begin != std::string::npos;) {
    const std::size_t end = text.find(separator, begin);
    parts.push_back(text.substr(begin, end == std::string::npos ? end : end - begin));
    begin = end == std::string::npos ? end : end + separator.size();
  }
  return parts;
}

// The value of the first such member that is neither object nor array, its blanks as "_". "" is
// none, or one with characters that a brief line cannot hold.
std::string word_of(const std::string& line, const std::string& member) {
  const std::string key = "\"" + member + "\":";
  std::size_t at = line.find(key);
  while (at != std::string::npos && (line[at + key.size()] == '{' || line[at + key.size()] == '['))
    at = line.find(key, at + key.size());
  if (at == std::string::npos) return "";
  at += key.size();
  const bool quoted = line[at] == '"';
  if (quoted) ++at;
  const std::size_t end = std::min(line.find_first_of(quoted ? "\"" : ",}", at), line.size());
  std::string word = line.substr(at, end - at);
  std::replace(word.begin(), word.end(), ' ', '_');
  return word.find_first_of(",{}\\") == std::string::npos ? word : "";
}

// A request by its tag, an event by its type, its id or first member, and its generation:
// "open:5", "chat:5", "message:1000:2".
std::string brief(const std::string& line) {
  if (begins(line, "! ")) {
    const std::string tag = word_of(line, "@extra");
    return tag.empty() ? word_of(line, "@type") : tag;
  }
  std::string member = "id";
  const Lines members = split(line, ",\"");
  if (word_of(line, member).empty() && members.size() > 1)
    member = members[1].substr(0, members[1].find('"'));
  std::string text = word_of(line, "type");
  for (const std::string& name : {member, std::string(member == "gen" ? "" : "gen")}) {
    const std::string value = word_of(line, name);
    if (!value.empty()) text += ":" + value;
  }
  return text;
}

// The same with those members of the line that the item names: "getChats:1[limit:50]".
std::string brief_as(const std::string& item, const std::string& line) {
  std::string text = brief(line);
  const std::size_t bracket = item.find('[');
  if (bracket == std::string::npos) return text;
  char mark = '[';
  for (const std::string& part : split(item.substr(bracket + 1), ",")) {
    const std::string member = part.substr(0, part.find(':'));
    text += mark + member + ":" + word_of(line, member);
    mark = ',';
  }
  return text + "]";
}

void replace_all(std::string& text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos;
       at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
}

// \n \r \t \0 \\ \xNN, as in C.
std::string unescaped(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      bytes += text[i];
      continue;
    }
    const char c = text[++i];
    if (c == 'x' && i + 2 < text.size()) {
      bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      bytes += c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c == '0' ? '\0' : c;
    }
  }
  return bytes;
}

std::string base64(const std::string& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  unsigned value = 0;
  int bits = 0;
  for (const char c : bytes) {
    value = value << 8 | static_cast<unsigned char>(c);
    for (bits += 8; bits >= 6; bits -= 6) text += kDigits[value >> (bits - 6) & 63];
  }
  if (bits != 0) text += kDigits[value << (6 - bits) & 63];
  while (text.size() % 4 != 0) text += '=';
  return text;
}

// What a line of output must not show as it is: other control characters, and a blank at its end.
std::string escaped(std::string text) {
  std::string shown;
  for (const char c : text) {
    char code[8];
    std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(c));
    shown += static_cast<unsigned char>(c) < 32 || c == 127 ? code : std::string(1, c);
  }
  if (!shown.empty() && shown.back() == ' ') shown.replace(shown.size() - 1, 1, "\\x20");
  return shown;
}

// One program's run: the lines from "==" to the next "==".
class Flow {
 public:
  explicit Flow(bool logs_in) : logs_in_(logs_in) { run_.hold_clock(); }
  // What came with the step, in the order L ! = * E F |.
  Lines play(const Step& step);
  void end();
  void abandon() { run_.kill(); }

 private:
  Lines said();
  Lines play_parts(const std::string& text, bool same);
  void play_usage(const std::string& text);
  bool set(const std::string& word, const std::string& rest);
  void act(const std::string& word, const std::string& rest);

  BackendRun run_;
  bool started_ = false;
  bool logs_in_;  // before the first step
  Lines shown_;   // of files, by the step
};

// The log names each command's own words.
bool same_but_log(Lines a, Lines b) {
  for (Lines* lines : {&a, &b}) {
    lines->erase(std::remove_if(lines->begin(), lines->end(),
                                [](const std::string& line) { return line[0] == '|'; }),
                 lines->end());
  }
  return a == b;
}

// What is set before the start, and files, which may also come later. False: the step is neither.
bool Flow::set(const std::string& word, const std::string& rest) {
  const std::size_t blank = rest.find(' ');
  const std::string path = run_.dir / unescaped(rest.substr(0, blank));
  if (word == "file") {
    write_file(path, unescaped(rest.substr(blank + 1)));
  } else if (word == "fifo") {
    if (mkfifo(path.c_str(), 0600) != 0) throw std::runtime_error("no " + path);
  } else if (word == "directory") {
    std::filesystem::create_directories(path);
  } else if (word == "link") {
    std::filesystem::create_symlink(rest.substr(blank + 1), path);
  } else if (started_) {
    return false;
  } else if (word == "env" && begins(rest, "-")) {
    run_.env.erase(rest.substr(1));
  } else if (word == "env") {
    for (const std::string& one : split(rest, " ; ")) {
      const std::size_t equals = one.find('=');
      run_.env[one.substr(0, equals)] = unescaped(one.substr(equals + 1));
    }
  } else if (word == "hub") {
    run_.env["TD_BACKEND_MODE"] = "hub";
  } else if (word == "without" && rest == "login") {
    logs_in_ = false;
  } else if (word == "without") {
    run_.env.erase("BACKEND_EVENTS_FILE");
  } else if (word == "tg_api" || word == "tg_login") {
    run_.set_env_file(word, unescaped(rest));
  } else if (word == "zlib") {
    run_.zlib = true;
  } else if (word == "input") {
    run_.input = rest;
  } else {
    return false;
  }
  return true;
}

void Flow::act(const std::string& word, const std::string& rest) {
  if (word == ">") {
    run_.send_line(rest);
  } else if (word == ">>") {
    run_.feed(unescaped(rest));
  } else if (word == "write") {
    run_.write_input(unescaped(rest));
  } else if (word == "td") {
    run_.deliver(rest);
  } else if (begins(word, "td:")) {
    run_.answer(rest, word.substr(3));
  } else if (word == "cuts") {
    // Nothing is known of what each beginning tells, but that it is told as the schema says.
    for (std::size_t size = 0; size < rest.size(); size += 7) run_.deliver(rest.substr(0, size));
    run_.forget();
    run_.deliver(rest);
  } else if (word == "state") {
    run_.deliver_auth_state(rest);
  } else if (word == "login") {
    run_.login();
  } else if (word == "idle") {
    run_.idle();
  } else if (word == "clock") {
    run_.advance_ms(std::stoll(rest));
    run_.idle();
  } else if (word == "after") {
    act("clock", std::to_string(std::stoll(rest) - 1));
    if (!same_but_log(said(), {})) throw std::runtime_error("too early");
    act("clock", "1");
  } else if (word == "later") {
    run_.advance_ms(std::stoll(rest));
  } else if (word == "log") {
    run_.log_from_tdlib(0, 1, rest[0] - '0', unescaped(rest.substr(2)));
  } else if (word == "thread_log") {
    run_.log_from_tdlib(1, 1, rest[0] - '0', rest.substr(2));
  } else if (word == "show") {
    std::istringstream file(read_file(run_.dir / rest));
    for (std::string line; std::getline(file, line);) shown_.push_back(line);
  } else if (word == "close_input") {
    run_.close_input();
    run_.idle();
  } else if (word == "exit") {
    const int status = run_.wait_exit();
    if (status != std::stoi(rest))
      throw std::runtime_error("the exit status is " + std::to_string(status));
  } else if (word == "quit") {
    run_.write_input("quit\n");
    act("exit", "0");
  } else {
    throw std::runtime_error("no such step: " + word);
  }
}

// A step that stands for several, "each a ; b ; td c": all must say the same. With "all" they say
// it together.
Lines Flow::play_parts(const std::string& text, bool same) {
  Lines all;
  bool first = true;
  for (const std::string& part : split(text, " ; ")) {
    const std::size_t blank = part.find(' ');
    const std::string word = part.substr(0, blank);
    if (begins(word, "td") || word == "clock" || word == "later" ||
        (word == "state" && blank != std::string::npos)) {
      act(word, part.substr(blank + 1));
    } else {
      run_.feed(unescaped(part) + "\n");
    }
    const Lines now = said();
    for (const std::string& line : now)
      if (!same || first || line[0] == '|') all.push_back(line);
    if (same && !same_but_log(now, all)) throw std::runtime_error("says something else: " + part);
    first = false;
  }
  return all;
}

// "usage ping <id> : x ; 5x": the command alone and with each of these is told its usage.
void Flow::play_usage(const std::string& text) {
  const std::size_t colon = text.find(" : ");
  const std::string command = text.substr(0, text.find(' '));
  Lines lines = {command};
  if (colon != std::string::npos) {
    for (const std::string& words : split(text.substr(colon + 3), " ; "))
      lines.push_back(command + " " + words);
  }
  for (const std::string& line : lines) {
    run_.feed(unescaped(line) + "\n");
    const Lines now = said();
    if (!same_but_log(now, {"= ERR usage " + text.substr(0, colon)}))
      throw std::runtime_error("is not told its usage: " + line);
  }
}

Lines Flow::play(const Step& step) {
  std::string text = expand_objects(step.text);
  replace_all(text, "$DIR", run_.dir.path());
  for (std::size_t at = text.find("$64("); at != std::string::npos; at = text.find("$64(")) {
    const std::size_t end = text.find(')', at);
    text.replace(at, end + 1 - at, base64(unescaped(text.substr(at + 4, end - at - 4))));
  }
  const std::size_t blank = text.find(' ');
  const std::string word = text.substr(0, blank);
  const std::string rest = blank == std::string::npos ? "" : text.substr(blank + 1);
  if (set(word, rest)) return {};
  if (!started_) {
    started_ = true;
    run_.start();
    if (word != "start") run_.forget();
    if (word != "start" && logs_in_) run_.login();
  }
  if (word == "each" || word == "all") return play_parts(rest, word == "each");
  if (word == "usage") {
    play_usage(rest);
    return {};
  }
  if (word != "start") {
    act(word, rest);
    return said();
  }
  Lines lines;
  for (const std::string& call : run_.told()) lines.push_back("L " + call);
  for (const std::string& line : said()) lines.push_back(line);
  return lines;
}

void Flow::end() {
  if (started_ && run_.running()) act("quit", "");
}

Lines Flow::said() {
  Lines lines;
  const auto take = [&](char mark, const Lines& some) {
    for (std::string line : some) {
      replace_all(line, run_.dir.path(), "$DIR");
      replace_all(line, "pid=" + std::to_string(run_.pid()), "pid=$PID");
      replace_all(line, "\"pid\":" + std::to_string(run_.pid()), "\"pid\":$PID");
      lines.push_back(std::string(1, mark) + " " + escaped(line));
    }
  };
  take('!', run_.requests());
  take('=', run_.replies());
  take('*', run_.events());
  take('E', run_.error_lines());
  take('F', std::exchange(shown_, {}));
  take('|', run_.log_lines());
  return lines;
}

// A line, or one of several that a line of the file names together.
struct Item {
  std::string text;
  bool brief = false;
  bool joined = false;  // to the one before it
};

// "! a b" are two requests by what brief() says of them, "= a ; b" are two lines of output.
std::vector<Item> items_of(const Lines& lines, char kind) {
  std::vector<Item> items;
  for (const std::string& line : lines) {
    if (line[0] != kind) continue;
    const bool object = kind == '!' || kind == '*';
    const bool brief = object && line[2] != '{';
    if (object && !brief) {
      items.push_back({line});
      continue;
    }
    bool joined = false;
    for (const std::string& part : split(line.substr(2), brief ? " " : " ; ")) {
      items.push_back({brief ? part : line.substr(0, 2) + part, brief, joined});
      joined = true;
    }
  }
  return items;
}

// What came, in the form that the file has for it; "?" at the end is all that follows.
Lines in_form(const Lines& got, const std::vector<Item>& form, char kind) {
  Lines lines;
  for (std::size_t i = 0; i < got.size(); ++i) {
    Item item = i < form.size() ? form[i] : Item{};
    if (item.text.empty() && !form.empty() && form.back().text == "?") item = {"?", true, true};
    const std::string text = item.brief ? brief_as(item.text, got[i]) : got[i].substr(2);
    if (item.joined && !lines.empty()) {
      lines.back() += (item.brief ? " " : " ; ") + text;
    } else {
      lines.push_back(std::string(1, kind) + " " + text);
    }
  }
  return lines;
}

// The lines of one kind must be the same, but of the log only those that the step names must be
// there, in their order. `now` becomes what UPDATE writes. Returns what is wrong.
std::string compare(const Lines& expected, Lines& now) {
  Lines kept;
  std::string wrong;
  for (const char kind : std::string_view("L!=*EF")) {
    const std::vector<Item> want = items_of(expected, kind);
    Lines got;
    for (const std::string& line : now)
      if (line[0] == kind) got.push_back(line);
    for (std::size_t i = 0; i < std::max(want.size(), got.size()); ++i) {
      if (i < want.size() && i < got.size() &&
          want[i].text == (want[i].brief ? brief_as(want[i].text, got[i]) : got[i]))
        continue;
      if (i < want.size()) wrong += "  expected " + want[i].text + "\n";
      if (i < got.size()) wrong += "  got      " + got[i] + "\n";
    }
    const Lines shown = in_form(got, want, kind);
    kept.insert(kept.end(), shown.begin(), shown.end());
  }
  auto at = now.begin();
  for (const std::string& line : expected) {
    if (line[0] != '|') continue;
    if (line == "| ?") {  // all that the log has got, with UPDATE
      for (const std::string& log : now)
        if (begins(log, "| [backend] ")) kept.push_back("| " + log.substr(12));
    } else {
      kept.push_back(line);
    }
    for (const std::string& part : split(line.substr(2), " ; ")) {
      const auto found =
          std::find(at, now.end(), (begins(part, "[") ? "| " : "| [backend] ") + part);
      if (found != now.end()) {
        at = found + 1;
        continue;
      }
      wrong += "  not in the log: " + part + "\n";
      for (const std::string& log : now)
        if (log[0] == '|') wrong += "    " + log + "\n";
    }
  }
  now = kept;
  return wrong;
}

// True when all went as the file says.
bool play_file(const std::string& path, bool update) {
  std::vector<Step> steps = read_steps(path);
  std::unique_ptr<Flow> flow;
  std::string title;
  bool logs_in = false, failed = false, good = true;
  const auto attempt = [&](std::size_t number, const auto& action) {
    std::string wrong;
    try {
      wrong = action();
    } catch (const std::exception& error) {
      wrong = std::string(error.what()) + "\n";
      failed = true;
      if (flow) flow->abandon();
    }
    if (wrong.empty() || (update && !failed)) return;
    std::printf("%s:%zu: %s\n%s", path.c_str(), number, title.c_str(), wrong.c_str());
    good = false;
  };
  for (Step& step : steps) {
    if (step.text.empty()) continue;
    if (!flow && step.text == "login") {
      logs_in = true;
      continue;
    }
    if (begins(step.text, "==")) {
      if (flow && !failed)
        attempt(step.number, [&] {
          flow->end();
          return std::string();
        });
      flow = std::make_unique<Flow>(logs_in);
      title = step.text;
      failed = false;
      continue;
    }
    if (failed) continue;
    attempt(step.number, [&] {
      Lines now = flow->play(step);
      std::string wrong = compare(step.said, now);
      if (!wrong.empty()) wrong = "  " + step.text + "\n" + wrong;
      if (update) step.said = now;
      return wrong;
    });
  }
  if (flow && !failed)
    attempt(0, [&] {
      flow->end();
      return std::string();
    });
  if (!update) return good;
  std::ofstream out(path);
  for (const Step& step : steps) {
    for (const std::string& line : step.before) out << line << "\n";
    if (!step.text.empty()) out << step.text << "\n";
    for (const std::string& line : step.said) out << line << "\n";
  }
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  const char* update = std::getenv("UPDATE");
  bool good = argc > 1;
  for (int i = 1; i < argc; ++i) {
    try {
      good = play_file(argv[i], update != nullptr && *update == '1') && good;
    } catch (const std::exception& error) {
      std::printf("%s: %s\n", argv[i], error.what());
      good = false;
    }
  }
  return good ? 0 : 1;
}
