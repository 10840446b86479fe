// A modelling tool in small: keeps floor plans in archives (.krz), which bring their meta model, so that
// plans of older versions of this program are read as well.

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "kr/zero/archive/Archive.h"
#include "kr/zero/evolution/CarryOver.h"
#include "plan.kr0.h"

namespace archive = kr::zero::archive;
namespace evolution = kr::zero::evolution;
using models::plan::ConstFloor;
using models::plan::ConstRoom;
using models::plan::Floor;
using models::plan::Room;
using models::plan::Use;

namespace {

/// What has another name since 2024. Names that stayed need no rule, and integers become reals by themselves.
evolution::ChangeMap changesSince2024() {
  evolution::ChangeMap map;
  map.rename["plan.Room.label"] = "name";
  map.defaults["plan.Room.use"] = "living";
  return map;
}

/// Whether a plan was written by a program with another meta model than this one.
bool isOfAnotherVersion(const archive::Manifest& manifest, const kr::zero::meta::MetaRegistry& registry) {
  for (const archive::ArchivedPackage& package : manifest.packages)
    if (package.fingerprint != archive::fingerprintOf(registry, package.uri)) return true;
  return false;
}

kr::zero::Model loadPlan(const std::filesystem::path& path, const kr::zero::meta::MetaRegistry& registry) {
  archive::ArchiveReader reader(path);
  if (!isOfAnotherVersion(reader.getManifest(), registry)) return archive::loadArchive(path, registry);
  std::cout << path.filename().string() << " was written by an older version and is carried over\n";
  const archive::LoadedArchive old = reader.readModel();
  return evolution::carryOver(old.model, registry, {.map = changesSince2024()}).model;
}

Floor floorOf(kr::zero::Model& model) { return kr::zero::as<Floor>(model.getRoots().front()); }

void newPlan(const kr::zero::meta::MetaRegistry& registry, const std::filesystem::path& path,
             const std::string& name) {
  kr::zero::Model model(registry);
  kr::zero::createRoot<Floor>(model).setName(name);
  archive::saveArchive(model, path);
}

void addRoom(const kr::zero::meta::MetaRegistry& registry, const std::filesystem::path& path,
             const std::vector<std::string>& words) {
  kr::zero::Model model = loadPlan(path, registry);
  const auto rooms = floorOf(model).getRooms();
  const Room room = rooms.create();
  room.setName(words[0]);
  room.setWidth(std::stod(words[1]));
  room.setDepth(std::stod(words[2]));
  room.setUse(kr::zero::fromText<Use>(words[3]).value());
  if (rooms.size() > 1) room.getDoorsTo().add(rooms[rooms.size() - 2]);
  archive::saveArchive(model, path);  // all of it, or the old file stays as it was
}

void list(const kr::zero::meta::MetaRegistry& registry, const std::filesystem::path& path) {
  kr::zero::Model model = loadPlan(path, registry);
  const Floor floor = floorOf(model);
  std::cout << floor.getName() << ":\n";
  for (const Room room : floor.getRooms()) {
    std::cout << "  " << room.getName() << ", " << room.getWidth() * room.getDepth() << " m2, "
              << kr::zero::toText(room.getUse());
    for (const Room other : room.getDoorsTo()) std::cout << ", a door to " << other.getName();
    std::cout << '\n';
  }
}

int run(const std::vector<std::string>& words) {
  kr::zero::meta::MetaRegistry registry;
  models::plan::registerIn(registry);
  if (words.size() == 3 && words[0] == "new") {
    newPlan(registry, words[1], words[2]);
  } else if (words.size() == 6 && words[0] == "add") {
    addRoom(registry, words[1], {words.begin() + 2, words.end()});
  } else if (words.size() == 2 && words[0] == "list") {
    list(registry, words[1]);
  } else {
    std::cerr << "floor_plan new FILE NAME\nfloor_plan add FILE ROOM WIDTH DEPTH USE\nfloor_plan list FILE\n";
    return 2;
  }
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::cerr << "floor_plan: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
