// The other parsers, each reading messages into the program's record: three trees through
// bench/dom_reader.h, and simdjson's On-Demand, which walks the text once as the program does.
#pragma once

#include <rapidjson/document.h>
#include <simdjson.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "bench/dom_reader.h"

struct RapidNode {
  const rapidjson::Value* value = nullptr;

  RapidNode get(const char* key) const {
    if (!is_object()) return {};
    const auto found = value->FindMember(key);
    return {found == value->MemberEnd() ? nullptr : &found->value};
  }
  bool is_object() const { return value != nullptr && value->IsObject(); }
  std::string_view str() const {
    if (value == nullptr || !value->IsString()) return {};
    return {value->GetString(), value->GetStringLength()};
  }
  std::int64_t num() const { return value != nullptr && value->IsInt64() ? value->GetInt64() : 0; }
  bool yes() const { return value != nullptr && value->IsTrue(); }
  template <class F>
  void each(F f) const {
    if (value == nullptr || !value->IsArray()) return;
    for (const rapidjson::Value& element : value->GetArray()) f(RapidNode{&element});
  }
};

struct NlohmannNode {
  const nlohmann::json* value = nullptr;

  NlohmannNode get(const char* key) const {
    if (!is_object()) return {};
    const auto found = value->find(key);
    return {found == value->end() ? nullptr : &*found};
  }
  bool is_object() const { return value != nullptr && value->is_object(); }
  std::string_view str() const {
    if (value == nullptr || !value->is_string()) return {};
    return value->get_ref<const std::string&>();
  }
  std::int64_t num() const {
    return value != nullptr && value->is_number_integer() ? value->get<std::int64_t>() : 0;
  }
  bool yes() const { return value != nullptr && value->is_boolean() && value->get<bool>(); }
  template <class F>
  void each(F f) const {
    if (value == nullptr || !value->is_array()) return;
    for (const nlohmann::json& element : *value) f(NlohmannNode{&element});
  }
};

struct SimdNode {
  simdjson::simdjson_result<simdjson::dom::element> value{simdjson::NO_SUCH_FIELD};

  SimdNode get(const char* key) const { return {value.at_key(key)}; }
  bool is_object() const { return value.is_object(); }
  std::string_view str() const {
    std::string_view text;
    return value.get_string().get(text) == simdjson::SUCCESS ? text : std::string_view();
  }
  std::int64_t num() const {
    std::int64_t number = 0;
    return value.get_int64().get(number) == simdjson::SUCCESS ? number : 0;
  }
  bool yes() const {
    bool flag = false;
    return value.get_bool().get(flag) == simdjson::SUCCESS && flag;
  }
  template <class F>
  void each(F f) const {
    simdjson::dom::array array;
    if (value.get_array().get(array) != simdjson::SUCCESS) return;
    for (simdjson::dom::element element : array) f(SimdNode{std::move(element)});
  }
};

// On-Demand: every object is walked member by member in the order of the text, and what is not
// wanted is skipped.
namespace on_demand {

namespace od = simdjson::ondemand;

inline std::int64_t num(od::value value) {
  std::int64_t number = 0;
  return value.get_int64().get(number) == simdjson::SUCCESS ? number : 0;
}
inline std::string_view str(od::value value) {
  std::string_view text;
  return value.get_string().get(text) == simdjson::SUCCESS ? text : std::string_view();
}
inline bool yes(od::value value) {
  bool flag = false;
  return value.get_bool().get(flag) == simdjson::SUCCESS && flag;
}

// f(key, value) for every member.
template <class F>
void members(od::value value, F f) {
  od::object object;
  if (value.get_object().get(object) != simdjson::SUCCESS) return;
  for (auto field : object) {
    od::raw_json_string key;
    if (field.key().get(key) != simdjson::SUCCESS) return;
    od::value member;
    if (field.value().get(member) != simdjson::SUCCESS) return;
    f(key, member);
  }
}
template <class F>
void elements(od::value value, F f) {
  od::array array;
  if (value.get_array().get(array) != simdjson::SUCCESS) return;
  for (auto element : array) {
    od::value item;
    if (element.get(item) == simdjson::SUCCESS) f(item);
  }
}

// One number of an object whose type must be the one given.
inline std::int64_t typed_num(od::value value, std::string_view type, const char* wanted) {
  std::int64_t number = 0;
  bool right = false;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "@type") {
      right = str(member) == type;
    } else if (key == wanted) {
      number = num(member);
    }
  });
  return right ? number : 0;
}

inline std::int64_t one_num(od::value value, const char* wanted) {
  std::int64_t number = 0;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == wanted) number = num(member);
  });
  return number;
}

inline std::int64_t thumbnail_id(od::value value) {
  std::int64_t id = 0;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "file") id = one_num(member, "id");
  });
  return id;
}

inline void photo(od::value value, MessagePreview& out) {
  dom_reader::BestPhoto best;
  members(value, [&](od::raw_json_string key, od::value sizes) {
    if (!(key == "sizes")) return;
    elements(sizes, [&](od::value size) {
      std::int64_t id = 0;
      std::int64_t w = 0;
      std::int64_t h = 0;
      members(size, [&](od::raw_json_string name, od::value member) {
        if (name == "photo") {
          id = one_num(member, "id");
        } else if (name == "width") {
          w = num(member);
        } else if (name == "height") {
          h = num(member);
        }
      });
      best.consider(id, w, h);
    });
  });
  best.take(out);
}

// A video, a video note, a voice note or a document; `file_key` names its file.
inline void media(od::value value, const char* file_key, const char* media_type,
                  MessagePreview& out) {
  const bool document = out.content_type == "messageDocument";
  std::int64_t thumb = 0;
  bool video = !document;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == file_key) {
      members(member, [&](od::raw_json_string name, od::value number) {
        if (name == "id") out.media_file_id = num(number);
        if (document && name == "size") out.media_size = num(number);
      });
    } else if (key == "thumbnail") {
      thumb = thumbnail_id(member);
    } else if (key == "duration") {
      out.media_duration = static_cast<std::int32_t>(num(member));
    } else if (key == "width" || key == "length") {
      out.media_w = static_cast<std::int32_t>(num(member));
    } else if (key == "height") {
      out.media_h = static_cast<std::int32_t>(num(member));
    } else if (document && key == "file_name") {
      out.media_name = str(member);
    } else if (document && key == "mime_type") {
      video = str(member).substr(0, 6) == "video/";
    }
  });
  if (document && !video) video = dom_reader::is_video_name(out.media_name);
  out.media_type = document ? (video ? "video" : "file") : media_type;
  if (video) out.media_thumb_file_id = thumb;
}

inline std::string formatted_text(od::value value) {
  std::string text;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "text") text = str(member);
  });
  return text;
}

// "@type" is the first member, so all that follows knows it.
inline void content(od::value value, MessagePreview& out, std::int64_t sender) {
  std::vector<std::int64_t> added;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "@type") {
      out.content_type = str(member);
    } else if (key == "text" && out.content_type == "messageText") {
      out.text = formatted_text(member);
    } else if (key == "emoji" && out.content_type == "messageAnimatedEmoji") {
      out.text = str(member);
    } else if (key == "caption") {
      out.text = formatted_text(member);
    } else if (key == "photo" && out.content_type == "messagePhoto") {
      photo(member, out);
    } else if (key == "video" && out.content_type == "messageVideo") {
      media(member, "video", "video", out);
    } else if (key == "video_note") {
      media(member, "video", "video_note", out);
    } else if (key == "voice_note") {
      media(member, "voice", "voice", out);
    } else if (key == "document" && out.content_type == "messageDocument") {
      media(member, "document", "file", out);
    } else if (key == "member_user_ids") {
      elements(member, [&](od::value id) { added.push_back(num(id)); });
    }
  });
  if (out.text.empty()) {
    out.text = out.content_type == "messageChatAddMembers"
                   ? dom_reader::added_sentence(added, sender)
                   : message_preview_fallback(out.content_type);
  }
  if (out.content_type == "messageDocument" && out.text == "[file]") {
    out.text = out.media_type == "video" ? std::string("[video]") : out.media_name;
  }
  if (out.text.size() > 4096) out.text.resize(4096);
}

inline void reaction(od::value value, std::string& array) {
  std::string emoji;
  std::int64_t count = 0;
  bool chosen = false;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "type") {
      bool is_emoji = false;
      members(member, [&](od::raw_json_string name, od::value text) {
        if (name == "@type") {
          is_emoji = str(text) == "reactionTypeEmoji";
        } else if (is_emoji && name == "emoji") {
          emoji = str(text);
        }
      });
    } else if (key == "total_count") {
      count = num(member);
    } else if (key == "is_chosen") {
      chosen = yes(member);
    }
  });
  if (!emoji.empty()) dom_reader::append_reaction(array, emoji, count, chosen);
}

inline void interaction(od::value value, MessagePreview& out) {
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "reply_info") {
      out.reply_count = static_cast<std::int32_t>(one_num(member, "reply_count"));
    } else if (key == "reactions") {
      members(member, [&](od::raw_json_string name, od::value array) {
        if (!(name == "reactions")) return;
        elements(array, [&](od::value item) { reaction(item, out.reactions); });
      });
      if (!out.reactions.empty()) out.reactions += ']';
    }
  });
}

inline void read_message(od::value value, MessagePreview& out, std::int64_t& sender_user_id) {
  out = MessagePreview();
  sender_user_id = 0;
  members(value, [&](od::raw_json_string key, od::value member) {
    if (key == "id") {
      out.id = num(member);
    } else if (key == "sender_id") {
      sender_user_id = typed_num(member, "messageSenderUser", "user_id");
    } else if (key == "chat_id") {
      out.chat_id = num(member);
    } else if (key == "sending_state") {
      members(member, [&](od::raw_json_string name, od::value type) {
        if (!(name == "@type")) return;
        const std::string_view state = str(type);
        if (state == "messageSendingStateFailed") out.sending_state = "failed";
        if (state == "messageSendingStatePending") out.sending_state = "pending";
      });
    } else if (key == "is_outgoing") {
      out.outgoing = yes(member);
    } else if (key == "date") {
      out.date = num(member);
    } else if (key == "forward_info") {
      out.forwarded = true;
    } else if (key == "interaction_info") {
      interaction(member, out);
    } else if (key == "reply_to") {
      out.reply_to_message_id = typed_num(member, "messageReplyToMessage", "message_id");
    } else if (key == "topic_id") {
      out.message_thread_id = typed_num(member, "messageTopicThread", "message_thread_id");
    } else if (key == "content") {
      content(member, out, sender_user_id);
    }
  });
}

}  // namespace on_demand
