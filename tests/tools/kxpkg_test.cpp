// kxpkg as its users run it: what it writes the reader reads back, and what the update would refuse it names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "../printed.h"
#include "../temp_folder.h"
#include "fwupdate/package.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

class Kxpkg : public testing::Test {
 protected:
  void SetUp() override {
    folder_.write("a.bin", std::string(5000, 'a'));
    folder_.write("b.bin", std::string(2029, 'b'));
  }
  std::string path(const std::string& name) const {
    return folder_ / name;
  }
  static command_outcome run(const std::string& words) {
    return command_run(KXPKG_PATH " " + words + " 2>&1");
  }
  command_outcome build(const std::string& description) const {
    folder_.write("d.json", description);
    return run("build " + path("d.json") + " " + path("out.pkg"));
  }
  static constexpr const char* two_images = R"({"identification": "TARN-FW-EVB-1", "kind": 1, "images": [
      {"file": "a.bin", "offset": "0x41000", "type": 2}, {"file": "b.bin", "offset": "0x43000", "type": 2}]})";
  temp_folder folder_;
};

TEST_F(Kxpkg, BuiltPackageHoldsTheImagesWhereTheReaderLooks) {
  const command_outcome built = build(R"({"identification": "TARN-FW-EVB-1", "kind": 2,
      "images": [{"file": "a.bin", "offset": "0x41000", "type": 2}, {"offset": 0, "type": 9}],
      "part_b": {"images": [{"file": "b.bin", "offset": 53481472, "type": 3}]}})");
  ASSERT_EQ(built.status, 0) << built.out;
  fw_package package;
  ASSERT_EQ(fw_package_open(path("out.pkg").c_str(), &package), fw_open_result::opened);
  EXPECT_EQ(package.kind, FW_KIND_WHOLE_FLASH);
  fw_header header;
  uint32_t sum = 0;
  ASSERT_EQ(fw_package_header_read(package, FW_PART_A, &header), 0);
  EXPECT_EQ(header.identification(), "TARN-FW-EVB-1");
  ASSERT_EQ(header.fw_cnt, 2u);
  ASSERT_EQ(fw_image_checksum(package, header, header.images[0], &sum), 0);
  EXPECT_EQ(sum, 5000u * 'a');
  EXPECT_EQ(header.images[1].size, 0u);
  ASSERT_EQ(fw_package_header_read(package, FW_PART_B, &header), 0);
  ASSERT_EQ(fw_image_checksum(package, header, header.images[0], &sum), 0);
  EXPECT_EQ(sum, 2029u * 'b');
  const command_outcome info = run("info " + path("out.pkg"));
  EXPECT_EQ(info.status, 0);
  EXPECT_THAT(info.out, HasSubstr("board type      EVB"));
  EXPECT_EQ(run("check " + path("out.pkg")).status, 0);
}

TEST_F(Kxpkg, WrongDescriptionsAndImagesLeaveNoPackage) {
  const std::string image = R"({"file": "a.bin", "offset": "0x41000", "type": 2})";
  const auto one = [](const std::string& images) {
    return R"({"identification": "TARN-FW-EVB-1", "kind": 1, "images": [)" + images + "]}";
  };
  struct {
    std::string description;
    const char* reason;
  } const cases[] = {
      {"{", "is no JSON"},
      {"[]", "must be a JSON object"},
      {R"({"kind": 1, "images": []})", "\"identification\" must be a text"},
      {R"({"identification": "TARN-FW-EVB-1", "kind": 3, "images": []})",
       "\"kind\" must be a whole number from 0 to 2"},
      {R"({"identification": "TARN-FW-EVB-1", "kind": 2, "images": []})", "\"part_b\" belongs to kind 2"},
      {one(""), "holds 0 images"},
      {one(R"({"file": "a.bin", "offset": "0x41000", "type": 2, "size": 3})"), "unknown key \"size\""},
      {one(R"({"file": "a.bin", "offset": "-1", "type": 2})"), "\"offset\" must be a whole number"},
      {one(R"({"file": "a.bin", "offset": 1.5, "type": 2})"), "\"offset\" must be a whole number"},
      {one(R"({"file": "a.bin", "offset": 0, "type": 256})"), "\"type\" must be a whole number from 0 to 255"},
      {one(R"({"file": "none.bin", "offset": "0x41000", "type": 2})"), "none.bin: No such file"},
      {one(image + "," + image), "share bytes"},
      {one(R"({"file": "a.bin", "offset": "0x40000", "type": 2})"), "the header at file offset 0x100"},
      {one(R"({"file": "a.bin", "offset": "0x41001", "type": 2})"), "is no multiple of 4096"},
      {one(R"({"file": "a.bin", "offset": "0x41000", "type": 255})"), "flash device id 255"},
      {one(R"({"file": "a.bin", "offset": "0xFFFFF000", "type": 2})"), "is no file that fits"},
      {one(R"({"file": "a.bin", "offset": "0xF000", "type": 1})"), "old layout"},
      {R"({"identification": "EVB", "kind": 1, "images": [)" + image + "]}", "not of the form TARN-FW-BOARDTYPE-XXX"},
  };
  for (const auto& test : cases) {
    const command_outcome built = build(test.description);
    EXPECT_EQ(built.status, 1) << test.description;
    EXPECT_THAT(built.out, HasSubstr(test.reason)) << test.description;
    EXPECT_FALSE(fs::exists(path("out.pkg"))) << test.description;
  }
  EXPECT_EQ(folder_.entries(), 3u) << "a temporary file was left";
}

TEST_F(Kxpkg, CheckNamesEveryReason) {
  ASSERT_EQ(build(two_images).status, 0);
  fs::resize_file(path("out.pkg"), 256 + 0x1000 + 10);
  const command_outcome cut = run("check " + path("out.pkg"));
  EXPECT_EQ(cut.status, 1);
  EXPECT_THAT(cut.out, HasSubstr("part A image 0: 5000 bytes at file offset 0x1100 reach past the file's end"));
  EXPECT_THAT(cut.out, HasSubstr("part A image 1: 2029 bytes at file offset 0x3100 reach past the file's end"));
  EXPECT_EQ(run("check " + path("a.bin")).status, 1);
  EXPECT_EQ(run("check " + path("none")).status, 1);
  EXPECT_EQ(run("frob").status, 2);
}

// Two bytes that change places leave every sum as it was.
TEST_F(Kxpkg, EveryChangeOfAPackageIsNoticed) {
  ASSERT_EQ(build(two_images).status, 0);
  const std::string whole = temp_folder::read(folder_ / "out.pkg");
  struct {
    const char* what;
    size_t at;
    char add;       // to the byte there
    char subtract;  // from the byte behind it
    const char* reason;
  } const cases[] = {
      {"one byte", 256 + 0x1000, 1, 0, "the header says the sum 0x"},
      {"two that add up to the same", 256 + 0x3000, 1, 1, "the file is damaged: its SHA-256"},
      {"between images", 256 + 0x2800, 1, 0, "the file is damaged: its SHA-256"},
      {"the identification", 256 + 4 + 9, 1, 1, "the file is damaged: its SHA-256"},
      {"the seal", whole.size() - 2, 1, 0, "the file is damaged: its SHA-256"},
  };
  for (const auto& test : cases) {
    std::string changed = whole;
    changed[test.at] = static_cast<char>(changed[test.at] + test.add);
    changed[test.at + 1] = static_cast<char>(changed[test.at + 1] - test.subtract);
    folder_.write("out.pkg", changed);
    const command_outcome result = run("check " + path("out.pkg"));
    EXPECT_EQ(result.status, 1) << test.what;
    EXPECT_THAT(result.out, HasSubstr(test.reason)) << test.what;
  }
}

TEST_F(Kxpkg, SumsAreShownAndEveryNamedPackageIsLookedAt) {
  ASSERT_EQ(build(two_images).status, 0);
  fs::rename(path("out.pkg"), path("second.pkg"));
  ASSERT_EQ(build(two_images).status, 0);
  const std::string sum = sha256_of(path("out.pkg"));
  const command_outcome both = run("check " + path("out.pkg") + " " + path("second.pkg"));
  EXPECT_EQ(both.status, 0) << both.out;
  EXPECT_THAT(both.out, HasSubstr(path("second.pkg") + ": SHA-256 " + sum));
  EXPECT_THAT(both.out, HasSubstr(path("out.pkg") + ": part A image 0: sum 0x00076688"));
  EXPECT_THAT(run("info " + path("out.pkg")).out, HasSubstr("SHA-256 " + sum));
  EXPECT_EQ(run("check " + path("none") + " " + path("out.pkg")).status, 1);
  EXPECT_EQ(run("--version").out.substr(0, 6), "kxpkg ");
}

}  // namespace
