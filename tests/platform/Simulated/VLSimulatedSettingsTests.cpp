// Settings parsing, the built-in type table and the imaging the thumbnails rely on.
#include <gtest/gtest.h>

#include <set>

#include "Simulated/Simulated.h"
#include "Vaultline/VLStandardTypes.h"

namespace {

std::string messageOf(const std::string& settings) {
  try {
    VLSimulatedSettings::parse(settings);
  } catch (const VLException& e) {
    return e.what();
  }
  return "";
}

TEST(VLSimulatedSettings, ReadsQuirksAndValues) {
  auto settings =
      VLSimulatedSettings::parse(" case-sensitive-names , upload-latency=200ms,action-latency=1.5s,domain=work");
  EXPECT_TRUE(settings.has(VLSimulatedQuirk::CaseSensitiveNames));
  EXPECT_EQ(settings.quirks.size(), 1u);
  EXPECT_EQ(settings.uploadLatency, std::chrono::milliseconds(200));
  EXPECT_EQ(settings.actionLatency, std::chrono::milliseconds(1500));
  EXPECT_EQ(settings.domainIdentifier, "work");
  EXPECT_TRUE(VLSimulatedSettings::parse("").quirks.empty());
}

// The quirk list makes the enum and the names: each name is taken once, says what goes
// wrong, and reads back as its own quirk alone.
TEST(VLSimulatedSettings, EveryQuirkOfTheListReadsBackByItsOwnName) {
  std::set<std::string> names;
  for (const auto& info : VLSimulatedQuirks::all()) {
    EXPECT_TRUE(names.insert(info.name).second) << "two quirks named " << info.name;
    EXPECT_GT(std::string(info.help).size(), 10u) << info.name;
    auto settings = VLSimulatedSettings::parse(info.name);
    EXPECT_EQ(settings.quirks.size(), 1u) << info.name;
    EXPECT_TRUE(settings.has(info.quirk)) << info.name;
    EXPECT_EQ(VLSimulatedQuirks::nameOf(info.quirk), info.name);
  }
  EXPECT_EQ(VLSimulatedQuirks::named("Case-Sensitive-Names"), std::nullopt);
  // The quirks that stand for settings set them.
  EXPECT_FALSE(VLSimulatedSettings::parse("no-validation-service").validationServicePresent);
  EXPECT_FALSE(VLSimulatedSettings::parse("validation-refused").validationAllowed);
}

TEST(VLSimulatedSettings, RejectsUnknownNamesAndBadValuesByName) {
  std::string unknown = messageOf("case-sensitive-names,frobnicate");
  EXPECT_NE(unknown.find("\"frobnicate\""), std::string::npos) << unknown;
  for (const auto& name : VLSimulatedSettings::quirkNames()) EXPECT_NE(unknown.find(name), std::string::npos) << name;
  EXPECT_NE(unknown.find("upload-latency"), std::string::npos);

  std::string badSetting = messageOf("speed=3");
  EXPECT_NE(badSetting.find("\"speed\""), std::string::npos) << badSetting;
  EXPECT_NE(badSetting.find("collection-latency"), std::string::npos) << badSetting;

  // The alternate root is an item name (clean-up deletes it); durations are decimal and
  // at most one hour.
  for (const std::string& bad : std::vector<std::string>{"upload-latency=fast",
                                                         "upload-latency=-3ms",
                                                         "upload-latency=200",
                                                         "syncing=maybe",
                                                         "platform-revision=ancient",
                                                         "validation-service=sometimes",
                                                         "alternate-root=a/b",
                                                         "alternate-root=..",
                                                         "alternate-root=.",
                                                         "alternate-root=" + std::string(256, 'x'),
                                                         std::string("alternate-root=a\0b", 17),
                                                         "upload-latency=3601s",
                                                         "action-latency=1e3ms",
                                                         "action-latency=0x10ms",
                                                         "action-latency=.5s",
                                                         "collection-latency=99999999999999999999us",
                                                         "collection-latency=nans",
                                                         "seed-items=-1",
                                                         "seed-items=1000001",
                                                         "seed-items=99999999999999999999",
                                                         "seed-items=1.5",
                                                         "seed-items=lots",
                                                         "seed-items=",
                                                         "seed-items=0x10"}) {
    std::string message = messageOf(bad);
    std::string name = bad.substr(0, bad.find('='));
    EXPECT_NE(message.find("\"" + name + "\""), std::string::npos) << bad << ": " << message;
  }
  auto longest = VLSimulatedSettings::parse("upload-latency=3600s,alternate-root=" + std::string(255, 'x'));
  EXPECT_EQ(longest.uploadLatency, std::chrono::hours(1));
  EXPECT_EQ(VLSimulatedSettings::parse("seed-items=1000000").seedItems, 1000000u);
  EXPECT_EQ(VLSimulatedSettings::parse("action-latency=2.25ms").actionLatency, std::chrono::microseconds(2250));
  EXPECT_THROW(VLSimulatedProviderService::make("no-such-quirk"), VLException);
}

TEST(VLStandardTypes, ResolvesExtensionsByParent) {
  VLTypeDatabase types;
  vl_declareStandardTypes(types);
  EXPECT_EQ(types.preferredIdentifierForExtension("JPG"), "public.jpeg");
  EXPECT_TRUE(types.conforms("public.jpeg", "public.data"));
  EXPECT_TRUE(
      types.conforms(types.preferredIdentifierForExtension("txt", std::string("public.data")), "public.plain-text"));
  EXPECT_TRUE(types.conforms("public.folder", "public.item"));
  EXPECT_FALSE(types.conforms("public.folder", "public.data"));

  std::string rtfd = types.preferredIdentifierForExtension("rtfd", VLPackageTypeIdentifier);
  EXPECT_TRUE(types.isDeclared(rtfd));
  EXPECT_FALSE(types.conforms(rtfd, "public.data"));

  // "brindle" is declared twice: each constrained look-up finds its own declaration.
  std::string flat = types.preferredIdentifierForExtension("brindle", std::string("public.data"));
  std::string package = types.preferredIdentifierForExtension("brindle", VLPackageTypeIdentifier);
  EXPECT_NE(flat, package);
  EXPECT_TRUE(types.conforms(flat, "public.data"));
  EXPECT_FALSE(types.conforms(flat, VLPackageTypeIdentifier));
  EXPECT_TRUE(types.conforms(package, VLPackageTypeIdentifier));
  EXPECT_EQ(types.preferredIdentifierForExtension("brindle"), flat);

  std::string unknown =
      types.preferredIdentifierForExtension("randomWeirdExtensionThatProbablyIsntDefined", std::string("public.data"));
  EXPECT_FALSE(types.isDeclared(unknown));
  EXPECT_TRUE(types.conforms(unknown, "public.data"));
}

// The picture a thumbnail check draws: red lower half, green upper half.
VLBitmap redGreenPicture(int size = 50) {
  VLBitmap bitmap(size, size);
  bitmap.fillRect(0, 0, size, size / 2.0, 1, 0, 0, 1);
  bitmap.fillRect(0, size / 2.0, size, size / 2.0, 0, 1, 0, 1);
  return bitmap;
}

double distance(const float* pixel, double red, double green, double blue) {
  return std::abs(pixel[0] - red) + std::abs(pixel[1] - green) + std::abs(pixel[2] - blue);
}

TEST(VLImaging, DrawsInBottomUpCoordinatesAndKeepsColorsThroughJPEG) {
  VLBitmap picture = redGreenPicture();
  EXPECT_EQ(picture.pixelAt(25, 12), (std::array<double, 4>{0, 1, 0, 1}));  // top row region is green
  EXPECT_EQ(picture.pixelAt(25, 36), (std::array<double, 4>{1, 0, 0, 1}));

  VLData jpeg = VLImageCodec::encodeJPEG(picture);
  EXPECT_EQ(VLImageCodec::typeIdentifierOfData(jpeg), "public.jpeg");
  auto decoded = VLImageCodec::decode(jpeg);
  ASSERT_TRUE(decoded);
  auto floats = decoded->floatPixelsScaledTo(50, 50);
  EXPECT_LT(distance(&floats[10000 / 4], 0, 1, 0), 0.1);
  EXPECT_LT(distance(&floats[29200 / 4], 1, 0, 0), 0.1);

  auto flipped = decoded->flippedVertically().floatPixelsScaledTo(50, 50);
  EXPECT_GT(distance(&flipped[10000 / 4], 0, 1, 0), 0.1);
}

TEST(VLImaging, RoundTripsPNGWithAlphaAndScales) {
  VLBitmap bitmap(4, 2);
  bitmap.fillRect(0, 0, 2, 2, 0, 0, 1, 0.5);
  auto decoded = VLImageCodec::decode(VLImageCodec::encodePNG(bitmap));
  ASSERT_TRUE(decoded);
  EXPECT_EQ(decoded->width(), 4);
  EXPECT_NEAR(decoded->pixelAt(0, 0)[2], 0.5, 0.01);  // premultiplied blue
  EXPECT_NEAR(decoded->pixelAt(0, 0)[3], 0.5, 0.01);
  EXPECT_EQ(decoded->pixelAt(3, 0)[3], 0);

  VLBitmap big = redGreenPicture(200).scaledTo(20, 20);
  EXPECT_NEAR(big.pixelAt(10, 2)[1], 1.0, 0.01);
  EXPECT_NEAR(big.pixelAt(10, 17)[0], 1.0, 0.01);

  EXPECT_FALSE(VLImageCodec::decode(VLData::fromString("not an image")));
  const uint8_t truncated[] = {0xFF, 0xD8, 0xFF, 0xE0, 0x00};
  EXPECT_FALSE(VLImageCodec::decode(VLData(truncated, sizeof truncated)));
}

}  // namespace
