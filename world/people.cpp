// People: who they are follows from their number; the first few have names of their own.
#include "world/schema.h"
#include "world/world.h"

namespace world {

struct Named {
  const char* first_name;
  const char* last_name;
  const char* username;
};

// kMe, and those after it.
static constexpr Named kFirstPeople[] = {
    {"Robin", "Reed", "robin_reed"},
    {"World", "", "world_bot"},
    {"Ann", "Archer", "ann"},
    {"Bob", "Böhm", "bob"},
    {"Иван", "Петров", "ivan"},
    {"דנה", "לוי", ""},
    {"小林", "健", ""},
    {"", "", ""},
    {"Weather", "", "weather_bot"},
    {"Zoë", "d'Arc", "zoe"},
    {"ليلى", "حداد", "layla"},
    {"Max", "\xF0\x9F\x9A\xB2", "max"},
};
static constexpr int kNamed = sizeof kFirstPeople / sizeof *kFirstPeople;
static constexpr int kDeletedPerson = 7;
static constexpr const char* kFirstNames[] = {"Ada",   "Ben",   "Chloé", "Dmitri", "Eva",
                                              "Felix", "Grace", "Hugo",  "Ines",   "Jürgen",
                                              "Kim",   "Lena",  "Oleg",  "Priya",  "Yuki"};
static constexpr const char* kLastNames[] = {"Abbott",  "Brandt", "Costa", "Dvořák",  "Ek",
                                             "Fischer", "García", "Holm",  "Ivanova", "Jones",
                                             "Køhler",  "Lund",   "Moreau"};

bool is_person(Id id) {
  return id >= kMe && id < kMe + kNamed + static_cast<Id>(g_world.chats.size()) + 16;
}

Person person(Id id) {
  const auto renamed = g_world.renamed.find(id);
  if (renamed != g_world.renamed.end()) return renamed->second;
  const auto n = static_cast<std::size_t>(id - kMe);
  Person p;
  p.phone = "49155501" + std::to_string(1000 + n);
  if (n < kNamed) {
    p.first_name = kFirstPeople[n].first_name;
    p.last_name = kFirstPeople[n].last_name;
    p.username = kFirstPeople[n].username;
    p.deleted = n == kDeletedPerson;
    p.bot = p.username.find("_bot") != std::string::npos;
    if (p.deleted || p.bot) p.phone.clear();
    return p;
  }
  const std::uint64_t dice = mix(g_world.settings.seed, 0x9E0000u + n);
  p.first_name = kFirstNames[dice % 15];
  if ((dice >> 8 & 3) != 0) p.last_name = kLastNames[(dice >> 16) % 13];
  if ((dice >> 24 & 1) != 0) p.username = "user" + std::to_string(n);
  return p;
}

std::string person_name(Id id) {
  const Person p = person(id);
  return p.last_name.empty() ? p.first_name : p.first_name + " " + p.last_name;
}

Id find_person(std::string_view name) {
  for (Id id = kMe; is_person(id) && id < kMe + 1000; ++id) {
    if (person(id).first_name == name || person_name(id) == name) return id;
  }
  return 0;
}

std::string user_status_text(Id id) {
  static const Shape online("userStatusOnline", "expires");
  static const Shape offline("userStatusOffline", "was_online");
  static const Shape empty("userStatusEmpty", "");
  static const Shape recently("userStatusRecently", "");
  const Person p = person(id);
  if (p.deleted || p.bot) return empty.text({});
  const auto known = g_world.online.find(id);
  if (id == kMe || (known != g_world.online.end() && known->second)) {
    return online.text({date_now() + 300});
  }
  if (known != g_world.online.end()) return offline.text({date_now()});
  const std::uint64_t dice = mix(g_world.settings.seed, static_cast<std::uint64_t>(id));
  if (dice % 5 == 0) return recently.text({});
  return offline.text({kFirstDate - static_cast<Id>(dice % 100000)});
}

static std::string profile_photo_text(Id id) {
  static const Shape photo("profilePhoto", "id small big");
  if ((id - kMe - 1) % 3 == 0) return {};
  return photo.text({id << 20, file_text(file_of(id * 8 + 1, 3000, true)),
                     file_text(file_of(id * 8 + 2, 20000, true))});
}

std::string user_text(Id id) {
  static const Shape shape(
      "user",
      "id first_name last_name usernames phone_number status profile_photo accent_color_id "
      "profile_accent_color_id=-1 is_contact is_mutual_contact verification_status "
      "restricts_new_chats=false have_access=true type language_code");
  static const Shape names("usernames", "active_usernames editable_username");
  static const Shape bot("userTypeBot", "can_join_groups=true active_user_count=120");
  static const Shape verified("verificationStatus", "is_verified=true");
  const Person p = person(id);
  std::string usernames, type = "{\"@type\":\"userTypeRegular\"}";
  if (!p.username.empty()) {
    usernames = names.text({"[\"" + p.username + "\"]", p.username});
  }
  if (p.bot) type = bot.text({});
  if (p.deleted) type = "{\"@type\":\"userTypeDeleted\"}";
  const bool contact = !p.bot && !p.deleted && id != kMe && id < kMe + 30;
  return shape.text({id, p.first_name, p.last_name, usernames, p.phone, user_status_text(id),
                     p.deleted ? std::string() : profile_photo_text(id), id % 7, contact,
                     contact && id % 2 == 0, p.bot && id == kMe + 1 ? verified.text({}) : "", type,
                     id == kMe ? "en" : ""});
}

std::string user_full_text(Id id) {
  static const Shape shape("userFullInfo",
                           "can_be_called supports_video_calls bio group_in_common_count "
                           "gift_settings.accepted_gift_types=@acceptedGiftTypes bot_info");
  static const Shape bot("botInfo", "short_description description");
  const Person p = person(id);
  const bool callable = !p.bot && !p.deleted && id != kMe;
  std::string bio;
  if (!p.bot && id % 2 == 0)
    bio = formatted_text("Here since the beginning \xE2\x80\x94 " + p.first_name);
  return shape.text({callable, callable, bio, id % 4,
                     p.bot ? bot.text({"A bot of this world", "Write help to it."}) : ""});
}

void tell_person(Id id) {
  static const Shape shape("updateUser", "user");
  if (g_world.told_people.insert(id).second) tell(shape.text({user_text(id)}));
}

void tell_person_again(Id id) {
  g_world.told_people.erase(id);
  tell_person(id);
}

std::string sender_text(Id sender) {
  static const Shape user("messageSenderUser", "user_id");
  static const Shape chat("messageSenderChat", "chat_id");
  if (sender > 0) {
    tell_person(sender);
    return user.text({sender});
  }
  if (Chat* known = find_chat(sender)) tell_chat(*known);
  return chat.text({sender});
}

}  // namespace world
