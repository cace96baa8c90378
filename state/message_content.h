// What a message's content says and shows. Pure functions, any thread; views point into the
// caller's text.
#pragma once

#include <string>
#include <string_view>

#include "json/object_text.h"
#include "json/walk.h"
#include "state/message_media.h"

struct Content {
  std::string_view type;  // its "@type"; empty: no content
  std::string words;      // text, emoji or caption; may be empty
  MediaFile media;
};

// Reads the content object that the walk, not yet begun, is for. Worth nothing when the walk ends
// broken.
void read_content(ObjectWalk& object, Content& content);
// The same; an object that breaks off is read by markers to its end.
Content read_content(const ObjectText& object);

// The substitute for content without words, "[photo]" for "messagePhoto".
std::string message_preview_fallback(std::string_view content_type);
// A raw string without its quotes, still escaped; empty when it is none.
std::string_view string_content(std::string_view value);
