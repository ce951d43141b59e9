// The library of faces and the swap's controls, through the whole host.
#include <gmock/gmock.h>

#include "app/HostFixture.h"
#include "platform/Base64.h"

namespace quorvex {
namespace {

using namespace testing;

class FacesTest : public HostTest {
 protected:
  std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const auto& face : store.loadFaces()) all.push_back(face.name);
    return all;
  }
  std::string activeName() {
    const auto face = store.activeFace();
    return face ? face->name : "nobody";
  }
  std::string idOf(std::size_t place) { return store.loadFaces().at(place).id; }
  FaceStore store{defaults, images};
};

TEST_F(FacesTest, encodesAPhotoWithAWhiteMarginAsBase64) {
  store.addFace("/photos/Beach Photo.heic");
  EXPECT_EQ(images.askedFor, 640);
  EXPECT_EQ(images.askedQuality, 0.9);
  const RgbImage& canvas = images.encoded;
  EXPECT_EQ(canvas.width, 870);
  EXPECT_EQ(canvas.height, 652);
  const auto grey = [&](int x, int y) { return canvas.pixels.at((y * 870 + x) * 3 + 2) == 90; };
  EXPECT_TRUE(grey(115, 86) && grey(115 + 639, 86 + 479));
  EXPECT_FALSE(grey(114, 86) || grey(115, 85) || grey(115 + 640, 86) || grey(115, 86 + 480));
  EXPECT_EQ(std::count(canvas.pixels.begin(), canvas.pixels.end(), 90), 640 * 480 * 3);
  const SavedFace face = store.loadFaces().at(0);
  EXPECT_EQ(face.b64, "anBlZw==");
  EXPECT_EQ(face.name, "Beach Photo");
  EXPECT_THAT(face.id, MatchesRegex("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}"));
  EXPECT_EQ(base64(std::string("\xff\xfe\x00", 3)), "//4A");
}

TEST_F(FacesTest, keepsSomeFaceActiveWhileThereIsAny) {
  EXPECT_EQ(store.faceConfig(), std::nullopt);
  for (const char* name : {"a.jpg", "b.jpg", "c\xff.jpg"}) ASSERT_TRUE(store.addFace(name));
  EXPECT_THAT(names(), ElementsAre("a", "b", "c\ufffd")) << "a name that is no text is mended";
  EXPECT_EQ(activeName(), "c\ufffd");
  store.setActiveFace(idOf(1));
  store.deleteFace(idOf(0));
  EXPECT_EQ(activeName(), "b");
  store.setActiveFace("nobody's");
  EXPECT_EQ(activeName(), "b") << "the first";
  store.setActiveFace(idOf(1));
  store.deleteFace(idOf(1));
  EXPECT_EQ(store.activeID(), idOf(0));
  store.deleteFace(idOf(0));
  EXPECT_EQ(store.activeID(), std::nullopt);
  EXPECT_EQ(defaults.string("rc.faces.v1"), "[]");
}

TEST_F(FacesTest, readsWhatOlderVersionsKeptOnce) {
  defaults.values = {{"rc.targetFace.b64", "b2xk"}};
  EXPECT_THAT(names(), ElementsAre("My face"));
  EXPECT_EQ(store.activeID(), idOf(0));
  EXPECT_EQ(store.faceConfig()->dump(), R"({"enhance":false,"target_face_b64":"b2xk"})");
  store.deleteFace(idOf(0));
  EXPECT_THAT(FaceStore(defaults, images).loadFaces(), IsEmpty()) << "the library is there now";
  for (const char* damaged : {"", "{", "{}", "[1]", R"([{"id":"1","name":"n"}])"}) {
    defaults.values["rc.faces.v1"] = damaged;
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_EQ(defaults.values["rc.faces.v1"], damaged);
  }
  store.addFace("new.png");
  EXPECT_THAT(names(), ElementsAre("new"));
}

}  // namespace
}  // namespace quorvex
