// What people write.
#include <cctype>

#include "world/world.h"

namespace world {

// NOLINTBEGIN: words
static constexpr std::string_view kSentences[] = {
    "Are you coming tonight?",
    "The 7.40 was late again, of course.",
    "I left the keys on the kitchen table.",
    "Look at https://example.org/maps before you go.",
    "ok",
    "\xF0\x9F\x91\x8D",
    "Привет! Как дела?",
    "Завтра встречаемся в девять у входа.",
    "שלום, מה שלומך היום?",
    "مرحبا، هل أنت في البيت؟",
    "明日の会議は十時からです。",
    "C'est déjà réglé, merci \xE2\x80\x94 à demain.",
    "Größere Straßen, weniger Bäume.",
    "Who took the ladder?",
    "Bread, milk, 2 lemons, something for the cat",
    "I read it twice and still do not know who did it.",
    "He said \"never\", and then he came anyway.",
    "Tea?",
    "@ann have you seen this? #garden",
    "Please write to office@example.org about the rent.",
    "\xF0\x9F\x8E\x89\xF0\x9F\x8E\x89 We did it! \xF0\x9F\x8E\x89",
    "Line one\nLine two\n\tand a tab",
    "C:\\temp\\notes.txt is what you want",
    "It rained on the way there, it rained on the way back, and in between it rained.",
};
static constexpr std::string_view kAnswers[] = {
    "Yes, that is what I thought, too.", "Really? Tell me more.", "\xF0\x9F\x98\x84",
    "I will look at it in the evening.", "Да, конечно.",          "Not today, sorry.",
    "Where did you hear that?",
};
// NOLINTEND

std::string some_text(std::uint64_t dice) {
  std::string text(kSentences[dice % std::size(kSentences)]);
  // One in 16 goes on, one in 512 does not come to an end.
  int more = dice >> 8 & 15 ? 0 : 1 + roll(dice >> 12, 4);
  if ((dice >> 16 & 511) == 0) more = 60;
  for (int i = 0; i < more; ++i)
    (text += ' ') += kSentences[mix(dice, 7u + i) % std::size(kSentences)];
  return text;
}

std::string some_answer(std::uint64_t dice, std::string_view to) {
  const bool greeting = to_lower_ascii(std::string(to)).find("hello") != std::string::npos;
  return std::string(greeting ? "Hello! Good to hear you." : kAnswers[dice % std::size(kAnswers)]);
}

std::size_t utf16_length(std::string_view text) {
  std::size_t length = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    length += byte >= 0xF0 ? 2 : (byte & 0xC0) != 0x80 ? 1 : 0;
  }
  return length;
}

static const char* entity_type(std::string_view word) {
  if (word.substr(0, 8) == "https://") return "textEntityTypeUrl";
  if (word.size() > 1 && word[0] == '#') return "textEntityTypeHashtag";
  if (word.size() > 1 && word[0] == '@') return "textEntityTypeMention";
  if (word.size() > 1 && word[0] == '/') return "textEntityTypeBotCommand";
  return word.find('@') != std::string_view::npos && word.find('.') != std::string_view::npos
             ? "textEntityTypeEmailAddress"
             : nullptr;
}

std::string formatted_text(std::string_view text) {
  const auto length = [](std::string_view part) { return static_cast<Id>(utf16_length(part)); };
  List entities;
  const bool has_any = text.find_first_of("@#/") != std::string_view::npos;
  for (std::size_t begin = 0; has_any && begin < text.size();) {
    const std::size_t end = std::min(text.find_first_of(" \n\t", begin), text.size());
    const std::string_view word = text.substr(begin, end - begin);
    if (const char* type = entity_type(word)) {
      entities.next() += object("textEntity offset length type",
                                {length(text.substr(0, begin)), length(word), bare_object(type)});
    }
    begin = end + 1;
  }
  return object("formattedText text entities", {text, entities.done()});
}

}  // namespace world
