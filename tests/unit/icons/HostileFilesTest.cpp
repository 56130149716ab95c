// Hostile executables: none of them may hide the icon of another application.
#include "HostileFiles.h"

#include <gmock/gmock.h>

#include "ExtractionTest.h"
#include "Files.h"
#include "icons/AppIcon.h"
#include "inventory/InstalledApps.h"
#include "simulated/pictures/PngFile.h"

namespace kestrelbay {
namespace {

using testing::StartsWith;

constexpr std::string_view kPictureStart = "data:image/png;base64,";

class HostileIcons : public Extraction {
 protected:
  HostileIcons() { machine.registry.CreateKey(kProductsPath); }

  /** Adds an application with the icon of a program of its name. */
  void AddApp(const std::string& name, const std::string& program) {
    const std::u16string wide(name.begin(), name.end());
    MakeFile(program, name + ".exe");
    SetTexts(
        kUninstall64Path + u"\\" + wide,
        {{u"DisplayName", wide}, {u"UninstallString", u"u"}, {u"DisplayIcon", u"C:\\" + wide + u".exe,0"}});
  }
};

TEST_F(HostileIcons, AffectNoOtherIcon) {
  const auto files = simulated::HostileFiles();
  for (std::size_t at = 0; at < files.size(); ++at) {
    const std::string number = std::to_string(100 + at);
    AddApp(number + "a", files[at].contents);
    const auto shade = static_cast<std::uint32_t>(0xFF000001 + at);
    AddApp(number + "b",
           samples::MakeExecutable({{u"", 1, {samples::MakePng(samples::Drawing(256, 256, shade))}}}));
  }
  const auto apps = GetInstalledApps(true);
  ASSERT_EQ(apps->size(), 2 * files.size());
  auto app = apps->begin();
  for (std::size_t at = 0; at < files.size(); ++at) {
    SCOPED_TRACE(files[at].name);
    const std::string text = (app++)->IconText;
    EXPECT_EQ(files[at].hasPicture, text.starts_with(kPictureStart));
    EXPECT_EQ(files[at].hasPicture, !text.empty());
    const std::string other = (app++)->IconText;
    ASSERT_THAT(other, StartsWith(std::string(kPictureStart)));
    EXPECT_EQ(simulated::DecodePng(FromBase64(other.substr(kPictureStart.size())), 256),
              simulated::PictureOf(samples::Drawing(256, 256, static_cast<std::uint32_t>(0xFF000001 + at))));
  }
}

}  // namespace
}  // namespace kestrelbay
