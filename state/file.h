// Files, thumbnails and the photos of chats and users, as many objects carry them. Pure functions,
// any thread.
#pragma once

#include <cstdint>

#include "json/walk.h"

// A file object: its id, below 1 when there is none, and its size in bytes.
struct File {
  std::int64_t id = 0;
  std::int64_t size = 0;
};
inline constexpr Row<File> kFileRows[] = {
    {"id", value_into<&File::id>},
    {"size", value_into<&File::size>},
};

// A thumbnail object's file, which has one of two names.
struct Thumbnail {
  File file;
  File photo;
};
inline constexpr Row<Thumbnail> kThumbnailRows[] = {
    {"file", members_into<&Thumbnail::file, kFileRows>},
    {"photo", members_into<&Thumbnail::photo, kFileRows>},
};
// 0 when there is none.
std::int64_t thumbnail_file_id(const Thumbnail& thumbnail);

// Of the "photo" of a chat or the "profile_photo" of a user that the walk stands before, which is
// passed over: the file of its small size, 0 when there is none.
std::int64_t photo_small_file_id(ObjectWalk& walk);
