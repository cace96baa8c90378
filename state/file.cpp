#include "state/file.h"

#include <algorithm>

namespace {

struct Photo {
  File small;
};
constexpr Row<Photo> kPhotoRows[] = {{"small", members_into<&Photo::small, kFileRows>}};

}  // namespace

std::int64_t thumbnail_file_id(const Thumbnail& thumbnail) {
  return std::max<std::int64_t>(thumbnail.file.id > 0 ? thumbnail.file.id : thumbnail.photo.id, 0);
}

std::int64_t photo_small_file_id(ObjectWalk& walk) {
  Photo photo;
  read_inner<kPhotoRows>(walk, photo);
  return std::max<std::int64_t>(photo.small.id, 0);
}
