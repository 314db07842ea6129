// The programs of examples/ do what they say.
#include "support/images.h"

namespace zelj::test {
namespace {

TEST(Examples, GreyEncoderWritesAPictureThatIsNearTheOriginal) {
  const Folder folder;
  const Image scene = grey(img::renderScene(203, 150));
  folder.writeImage("in.pgm", scene);
  for (const char* quality : {"50", "95"}) {
    ASSERT_EQ(folder.run(std::string("sh -c '") + EXAMPLES + "/grey_encoder " + quality + " < in.pgm > out.jpg'"), 0);
    EXPECT_GT(img::psnr(scene, folder.readImage("out.jpg")), quality[0] == '9' ? 35 : 26);
  }
}

TEST(Examples, CameraWritesAPicture) {
  const Folder folder;
  ASSERT_EQ(folder.run(std::string("sh -c '") + EXAMPLES + "/camera > out.jpg'"), 0);
  const Image image = folder.readImage("out.jpg");
  ASSERT_TRUE(image.width == 1280 && image.height == 720);
  EXPECT_NEAR(image.row<uint8_t>(600)[3 * 30], 200, 4);
  EXPECT_NEAR(image.row<uint8_t>(600)[3 * 640 + 1], 128, 6);
}

TEST(Examples, BlocksOfJpegXrComeBack) {
  const Folder folder;
  EXPECT_EQ(folder.run(EXAMPLES "/xr_blocks"), 0);
  EXPECT_NE(folder.text("printed").find(" bytes, and back"), std::string::npos);
}

} // namespace
} // namespace zelj::test
