#include "ExecutableFile.h"

#include "LittleEndianText.h"

namespace samples {
namespace {

constexpr std::uint32_t kResourceAddress = 0x1000;
constexpr std::uint32_t kHeadersBytes = 0x200;
constexpr std::uint32_t kIsTable = 0x80000000;
constexpr std::uint32_t kEnglish = 0x409;
constexpr std::uint32_t kIconType = 3;
constexpr std::uint32_t kIconGroupType = 14;

std::uint8_t Side(std::uint32_t pixels) { return static_cast<std::uint8_t>(pixels == 256 ? 0 : pixels); }

void PutImageHead(std::string& text, const IconBytes& image) {
  Put8(text, Side(image.width));
  Put8(text, Side(image.height));
  Put8(text, image.bits < 8 ? 1u << image.bits : 0);
  Put8(text, 0);
  Put16(text, 1);
  Put16(text, image.bits);
  Put32(text, image.bytes.size());
}

void PutDirectoryHead(std::string& text, std::size_t images) {
  Put16(text, 0);
  Put16(text, 1);
  Put16(text, images);
}

/** One resource, by name or number. */
struct Named {
  std::u16string name;
  std::uint32_t number;
  std::string bytes;
};

/** The resources of two types, laid out as tables, then descriptions, names and bytes. */
class ResourceSection {
 public:
  ResourceSection(std::vector<Named> images, std::vector<Named> groups)
      : images_(std::move(images)), groups_(std::move(groups)) {
    std::uint32_t place = TableBytes(2) + TableBytes(images_.size()) + TableBytes(groups_.size());
    languages_ = place;
    place += static_cast<std::uint32_t>((images_.size() + groups_.size()) * 40);
    tail_ = place;
  }

  std::string Bytes() {
    std::string tables;
    PutTableHead(tables, 0, 2);
    Put32(tables, kIconType);
    Put32(tables, kIsTable | TableBytes(2));
    Put32(tables, kIconGroupType);
    Put32(tables, kIsTable | (TableBytes(2) + TableBytes(images_.size())));
    std::string descriptions;
    std::string tail;
    PutNames(tables, descriptions, tail, images_);
    PutNames(tables, descriptions, tail, groups_);
    return tables + descriptions + tail;
  }

 private:
  static std::uint32_t TableBytes(std::size_t lines) { return static_cast<std::uint32_t>(16 + lines * 8); }

  static void PutTableHead(std::string& text, std::size_t named, std::size_t numbered) {
    text.append(12, '\0');
    Put16(text, named);
    Put16(text, numbered);
  }

  /** Adds a table of names. Each entry leads to a table of one language, which its description follows. */
  void PutNames(std::string& tables, std::string& descriptions, std::string& tail,
                const std::vector<Named>& resources) const {
    std::size_t named = 0;
    for (const Named& resource : resources) {
      if (!resource.name.empty()) ++named;
    }
    PutTableHead(tables, named, resources.size() - named);
    for (const Named& resource : resources) {
      Put32(tables, resource.name.empty() ? resource.number : kIsTable | PutName(tail, resource.name));
      const auto language = static_cast<std::uint32_t>(languages_ + descriptions.size());
      Put32(tables, kIsTable | language);
      PutTableHead(descriptions, 0, 1);
      Put32(descriptions, kEnglish);
      Put32(descriptions, language + TableBytes(1));
      Align(tail, 4);
      Put32(descriptions, kResourceAddress + tail_ + tail.size());
      Put32(descriptions, resource.bytes.size());
      Put32(descriptions, 0);
      Put32(descriptions, 0);
      tail += resource.bytes;
    }
  }

  std::uint32_t PutName(std::string& tail, const std::u16string& name) const {
    Align(tail, 2);
    const auto place = static_cast<std::uint32_t>(tail_ + tail.size());
    Put16(tail, name.size());
    for (const char16_t unit : name) Put16(tail, unit);
    return place;
  }

  std::vector<Named> images_;
  std::vector<Named> groups_;
  std::uint32_t languages_;
  std::uint32_t tail_;
};

/** Makes the optional header: the values to map the only section, and the address of the resources. */
std::string OptionalHeader(bool is64, std::size_t resourceBytes, std::size_t imageBytes) {
  std::string text;
  Put16(text, is64 ? 0x20B : 0x10B);
  text.resize(is64 ? 24 : 28);
  Put(text, is64 ? 0x140000000 : 0x400000, is64 ? 8 : 4);
  Put32(text, 0x1000);  // alignment in memory
  Put32(text, 0x200);   // alignment in the file
  Put16(text, 6);       // version of the system
  text.resize(48);
  Put16(text, 6);
  text.resize(56);
  Put32(text, imageBytes);
  Put32(text, kHeadersBytes);
  Put32(text, 0);
  Put16(text, 2);  // a program with windows
  text.resize(is64 ? 108 : 92);
  Put32(text, 16);
  text.append(16, '\0');
  Put32(text, resourceBytes == 0 ? 0 : kResourceAddress);
  Put32(text, resourceBytes);
  text.resize(text.size() + 13 * 8);
  return text;
}

std::string Headers(bool is64, std::size_t resourceBytes, std::size_t rawBytes) {
  std::string text("MZ");
  text.resize(60);
  Put32(text, 64);
  text += std::string("PE\0\0", 4);
  Put16(text, is64 ? 0x8664 : 0x14C);
  Put16(text, 1);
  text.resize(text.size() + 12);
  const std::size_t pages = (resourceBytes + 0xFFF) / 0x1000 + 1;
  const std::string optional = OptionalHeader(is64, resourceBytes, (pages + 1) * 0x1000);
  Put16(text, optional.size());
  Put16(text, is64 ? 0x22 : 0x102);
  text += optional;
  text += std::string(".rsrc\0\0\0", 8);
  Put32(text, resourceBytes);
  Put32(text, kResourceAddress);
  Put32(text, rawBytes);
  Put32(text, kHeadersBytes);
  text.resize(text.size() + 12);
  Put32(text, 0x40000040);  // readable data
  text.resize(kHeadersBytes);
  return text;
}

}  // namespace

std::string MakeExecutable(const std::vector<IconGroup>& groups, Machine machine) {
  std::vector<Named> images;
  std::vector<Named> directories;
  for (const IconGroup& group : groups) {
    std::string directory;
    PutDirectoryHead(directory, group.images.size());
    for (const IconBytes& image : group.images) {
      images.push_back({u"", static_cast<std::uint32_t>(images.size() + 1), image.bytes});
      PutImageHead(directory, image);
      Put16(directory, images.size());
    }
    directories.push_back({group.name, group.number, directory});
  }
  std::string section =
      groups.empty() ? "" : ResourceSection(std::move(images), std::move(directories)).Bytes();
  const std::size_t bytes = section.size();
  Align(section, 0x200);
  return Headers(machine == Machine::Amd64, bytes, section.size()) + section;
}

std::string MakeIconFile(const std::vector<IconBytes>& images) {
  std::string text;
  PutDirectoryHead(text, images.size());
  std::size_t offset = 6 + images.size() * 16;
  for (const IconBytes& image : images) {
    PutImageHead(text, image);
    Put32(text, offset);
    offset += image.bytes.size();
  }
  for (const IconBytes& image : images) text += image.bytes;
  return text;
}

}  // namespace samples
