// People: who they are follows from their number; the first few have names of their own.
#include "world/world.h"

namespace world {

// kMe, and those after it: first name, last name, public name.
static constexpr std::tuple<const char*, const char*, const char*> kFirstPeople[] = {
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

Person person(Id id) {
  const auto changed = g_world.changed_people.find(id);
  if (changed != g_world.changed_people.end()) return changed->second;
  const auto n = static_cast<std::size_t>(id - kMe);
  const std::uint64_t dice = mix(g_world.settings.seed, 0x9E0000u + n);
  Person p;
  if (n < kNamed) {
    std::tie(p.first_name, p.last_name, p.username) = kFirstPeople[n];
  } else {
    p.first_name = kFirstNames[dice % 15];
    if ((dice >> 8 & 3) != 0) p.last_name = kLastNames[(dice >> 16) % 13];
    if ((dice >> 24 & 1) != 0) p.username = "user" + std::to_string(n);
  }
  p.deleted = n == kDeletedPerson;
  p.bot = ends_with(p.username, "_bot");
  if (!p.deleted && !p.bot) p.phone = "49155501" + std::to_string(1000 + n);
  if (!p.deleted && n % 3 != 1) p.photo = 1;
  if ((dice >> 32) % 5 != 0) p.seen = kFirstDate - roll(dice >> 36, 100000);
  return p;
}

std::string person_name(Id id) {
  const Person p = person(id);
  return p.last_name.empty() ? p.first_name : p.first_name + " " + p.last_name;
}

static std::string status_text(Id id) {
  const Person p = person(id);
  if (p.deleted || p.bot) return object("userStatusEmpty");
  if (p.online || id == kMe) return object("userStatusOnline expires", {date_now() + 300});
  return p.seen != 0 ? object("userStatusOffline was_online", {p.seen})
                     : object("userStatusRecently");
}

std::string usernames_text(const std::string& name) {
  if (name.empty()) return {};
  return object("usernames active_usernames editable_username", {"[\"" + name + "\"]", name});
}

Id photo_key(Id person_id) {
  const int photo = person(person_id).photo;
  return photo == 0 ? 0 : person_id * 8 + 2 * photo - 1;
}

std::string user_text(Id id) {
  const Person p = person(id);
  const bool contact = !p.bot && !p.deleted && id != kMe && id < kMe + 30;
  const std::string type = object(p.bot ? "userTypeBot can_join_groups=true active_user_count=120"
                                  : p.deleted ? "userTypeDeleted"
                                              : "userTypeRegular");
  std::string photo, verified;
  if (id == kMe + 1) verified = object("verificationStatus is_verified=true");
  if (const Id key = photo_key(id); key != 0) {
    photo = object("profilePhoto id small big",
                   {key << 20, file_text(key, 3000, true), file_text(key + 1, 20000, true)});
  }
  return object(
      "user id first_name last_name usernames phone_number status profile_photo accent_color_id "
      "profile_accent_color_id=-1 is_contact is_mutual_contact verification_status "
      "have_access=true type language_code",
      {id, p.first_name, p.last_name, usernames_text(p.username), p.phone, status_text(id), photo,
       id % 7, contact, contact && id % 2 == 0, verified, type, id == kMe ? "en" : ""});
}

void tell_person(Id id) {
  if (g_world.told_people.insert(id).second) tell("updateUser user", {user_text(id)});
}

void change_person(Id id, const Person& now) {
  const Person before = person(id);
  g_world.changed_people[id] = now;
  if (before.online != now.online) {
    tell_person(id);
    tell("updateUserStatus user_id status", {id, status_text(id)});
    return;
  }
  g_world.told_people.erase(id);
  tell_person(id);
  const Chat* chat = told_chat(id);
  if (chat == nullptr) return;
  if (before.photo != now.photo) {
    tell("updateChatPhoto chat_id photo", {id, chat_photo_text(*chat)});
  } else {
    tell("updateChatTitle chat_id title", {id, chat_title(*chat)});
  }
}

std::string sender_text(Id sender) {
  if (sender > 0) {
    tell_person(sender);
    return object("messageSenderUser user_id", {sender});
  }
  if (Chat* chat = find_chat(sender)) tell_chat(*chat);
  return object("messageSenderChat chat_id", {sender});
}

// ---- requests

static std::string get_full(Asked& asked) {
  const Id id = asked.user;
  const Person p = person(id);
  const bool callable = !p.bot && !p.deleted && id != kMe;
  std::string bio, bot;
  if (!p.bot && id % 2 == 0) bio = formatted_text("Here since the beginning — " + p.first_name);
  if (p.bot) {
    bot = object(
        "botInfo short_description='A bot of this world' "
        "description='Write help to it.'");
  }
  return object(
      "userFullInfo can_be_called supports_video_calls bio group_in_common_count "
      "gift_settings.accepted_gift_types=@acceptedGiftTypes bot_info",
      {callable, callable, bio, id % 4, bot});
}

const Requests kPeopleRequests = {
    {"getMe", kNothing, [](Asked&) { return user_text(kMe); }},
    {"getUser", kUser, [](Asked& asked) { return user_text(asked.user); }},
    {"getUserFullInfo", kUser, get_full},
};

}  // namespace world
