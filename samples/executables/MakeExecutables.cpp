// make-executables DRIVE: makes the executables of the sample machine's drive C in the folder DRIVE. Together
// they have every kind of icon that an executable can have. Some have none.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>

#include "Drawings.h"
#include "ExecutableFile.h"

namespace samples {
namespace {

using Groups = std::vector<IconGroup>;
using Images = std::vector<IconBytes>;

Groups OneGroup(Images images) { return {{u"", 1, std::move(images)}}; }

Groups AllSizes(const Badge& badge) {
  return OneGroup({MakeBitmap(DrawFlat(badge, 16), 4), MakeBitmap(DrawFlat(badge, 32), 4),
                   MakeBitmap(DrawFlat(badge, 48), 8), MakeBitmap(DrawSmooth(badge, 16), 32),
                   MakeBitmap(DrawSmooth(badge, 32), 32), MakeBitmap(DrawSmooth(badge, 48), 32),
                   MakePng(DrawSmooth(badge, 256))});
}

Groups LargePng(const Badge& badge) { return OneGroup({MakePng(DrawSmooth(badge, 256))}); }

Groups LargeBitmap(const Badge& badge) {
  return OneGroup({MakeBitmap(DrawSmooth(badge, 256), 32), MakeBitmap(DrawSmooth(badge, 32), 32)});
}

Groups Middle(const Badge& badge) {
  return OneGroup({MakePng(DrawSmooth(badge, 128)), MakeBitmap(DrawSmooth(badge, 48), 32)});
}

Groups SmallWithAlpha(const Badge& badge) {
  return OneGroup({MakeBitmap(DrawSmooth(badge, 32), 32), MakeBitmap(DrawSmooth(badge, 48), 32)});
}

Groups TrueColour(const Badge& badge) { return OneGroup({MakeBitmap(DrawFlat(badge, 48), 24)}); }

Groups Colours256(const Badge& badge) {
  return OneGroup({MakeBitmap(DrawFlat(badge, 32), 8), MakeBitmap(DrawFlat(badge, 48), 8)});
}

Groups Colours16(const Badge& badge) {
  return OneGroup({MakeBitmap(DrawFlat(badge, 16), 4), MakeBitmap(DrawFlat(badge, 32), 4)});
}

Groups BlackAndWhite(const Badge& badge) { return OneGroup({MakeBitmap(DrawBlackAndWhite(badge, 32), 1)}); }

/** The group with a name is the icon of the program. The group with a number is another icon. */
Groups NamedFirst(const Badge& badge) {
  const Badge other{0x808080, Shape::Cross};
  return {{u"MAIN", 0, {MakeBitmap(DrawSmooth(badge, 48), 32), MakePng(DrawSmooth(badge, 256))}},
          {u"", 1, {MakeBitmap(DrawSmooth(other, 48), 32)}}};
}

Groups NoIcon(const Badge&) { return {}; }

/** The path is UTF-8 for every compiler, because files of the sample have names in several scripts. */
struct Program {
  const char8_t* path;
  Machine machine;
  std::function<Groups(const Badge&)> groups;
  Badge badge;
};

const Program kPrograms[] = {
    {u8"Program Files/Bramblefont/fonts.exe", Machine::Amd64, AllSizes, {0x7B3FA0, Shape::Page}},
    {u8"Program Files (x86)/Bramblefont/fonts.exe", Machine::I386, Colours16, {0x800080, Shape::Page}},
    {u8"Users/Pavel/AppData/Local/Brightmoor/tutor.exe",
     Machine::Amd64,
     SmallWithAlpha,
     {0xD9822B, Shape::Bars}},
    {u8"Users/Anna/AppData/Roaming/Microsoft/Installer/{A5B81F6C-D034-4E79-8B2A-C617E05F9D28}/maps.exe",
     Machine::I386,
     Colours256,
     {0x2F8F6B, Shape::Ring}},
    {u8"Program Files/Ferrous/desk.exe", Machine::Amd64, TrueColour, {0x8C3B2E, Shape::Disc}},
    {u8"Program Files/Handheld Companion/companion.exe", Machine::Amd64, NoIcon, {}},
    {u8"Windows/Installer/{D26F8A17-B059-4C3E-8471-0EC95D63B2A8}/LabelIcon.exe",
     Machine::I386,
     BlackAndWhite,
     {0, Shape::Bars}},
    {u8"Program Files (x86)/Mosswick/sync.exe", Machine::I386, LargeBitmap, {0x4F7F3A, Shape::Ring}},
    {u8"Program Files/Pebblecast/pebblecast.exe", Machine::Amd64, NamedFirst, {0x2C6FD1, Shape::Triangle}},
    {u8"Users/Anna/AppData/Local/Programs/pixelgarden/pixelgarden.exe",
     Machine::Amd64,
     LargePng,
     {0xC23B7E, Shape::Cross}},
    {u8"Program Files (x86)/plumbline/ruler.exe", Machine::I386, SmallWithAlpha, {0x5A6B7C, Shape::Bars}},
    {u8"Program Files/Quillmarsh/Writer/writer.exe", Machine::Amd64, AllSizes, {0x1F5FA8, Shape::Page}},
    {u8"Program Files/Tallowgrid/tables.exe", Machine::Amd64, AllSizes, {0x1E8449, Shape::Bars}},
    {u8"Program Files (x86)/Tidemark/vpn.exe", Machine::I386, Middle, {0x117A8B, Shape::Ring}},
    {u8"UMBERLINE/BIN/ACCOUNTS.EXE", Machine::I386, Colours16, {0x808000, Shape::Bars}},
    {u8"Program Files (x86)/Zephyrine/zephyrine.exe", Machine::I386, AllSizes, {0xE0567A, Shape::Triangle}},
    {u8"Program Files/Planwerk Süd/planer.exe", Machine::Amd64, LargePng, {0x556B2F, Shape::Cross}},
    {u8"Program Files/Thalassa Calendar/calendar.exe", Machine::Amd64, AllSizes, {0x0E6BA8, Shape::Disc}},
    {u8"Users/Pavel/AppData/Local/Берёзень/склад.exe", Machine::I386, Colours256, {0xB8860B, Shape::Page}},
};

bool Write(const std::filesystem::path& path, const std::string& bytes) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  return bool(file.flush());
}

bool MakeAll(const std::filesystem::path& drive) {
  bool isMade = true;
  for (const Program& program : kPrograms) {
    const std::string bytes = MakeExecutable(program.groups(program.badge), program.machine);
    isMade = Write(drive / program.path, bytes) && isMade;
  }
  // A download that ended early: its tables point beyond the end of the file.
  const std::string whole = MakeExecutable(AllSizes({0x444444, Shape::Disc}));
  return Write(drive / "Program Files/Marlpit/agent.exe", whole.substr(0, whole.size() / 2)) && isMade;
}

}  // namespace
}  // namespace samples

int main(int count, char** values) {
  const std::span arguments(values, static_cast<std::size_t>(count));
  if (arguments.size() == 2 && samples::MakeAll(arguments[1])) return 0;
  std::fprintf(stderr, "make-executables: usage: make-executables DRIVE, a folder that can be written\n");
  return 1;
}
