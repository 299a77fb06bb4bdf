#include "update_fixture.h"

#include <algorithm>
#include <thread>

#include "fw_timer.h"
#include "fwupdate/fwupdate.h"
#include "vcard/models.h"

namespace {

Update* running_test = nullptr;

// A tick of the tests; packets are not paused between.
void short_pause(uint32_t microseconds) {
  if (microseconds > 50000) {
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
}

}  // namespace

void Update::SetUp() {
  running_test = this;
  guard_.emplace();
}

void Update::TearDown() {
  card_.reset();
  fw_update_set(nullptr);
  guard_.reset();
}

void Update::plug(const std::string& card_file) {
  card_.reset();
  std::filesystem::remove(flash_.path);
  sent_.clear();
  journal_.clear();
  before_request_ = nullptr;
  file_ = std::make_unique<vcard::CardFile>(card_file);
  log_ = std::make_unique<vcard::RequestLog>();
  card_ = std::make_unique<vcard::Card>(*file_, *log_);
  vcard::models_attach(*card_);
  for (const std::string& complaint : file_->complaints()) {
    // Wires, which are not plugged in here, have sections of their own.
    ASSERT_EQ(complaint.find("update"), std::string::npos) << complaint;
  }
  ASSERT_TRUE(card_->create({.tree = "", .state = folder_.path()}));
  card_->processor().attach_tool([](uint16_t, vcard::ByteView payload) {
    mts_fwupdate_recv_cb(payload.data(), static_cast<uint32_t>(payload.size()));
    return true;
  });
  card_->start();
}

int32_t Update::send(kxtool_device*, const void* payload, uint16_t length, void* reply, uint16_t* reply_len) {
  const uint8_t* bytes = static_cast<const uint8_t*>(payload);
  running_test->sent_.emplace_back(bytes, bytes + length);
  if (running_test->before_request_) {
    running_test->before_request_(running_test->sent_.back());
  }
  const std::lock_guard guard(running_test->card_->lock());
  vcard::Bytes answer;
  const int32_t result = running_test->card_->processor().handle(vcard::update_event, {bytes, length}, answer);
  if (result != 0 || answer.size() > *reply_len) {
    return result != 0 ? result : 12;
  }
  std::copy(answer.begin(), answer.end(), static_cast<uint8_t*>(reply));
  *reply_len = static_cast<uint16_t>(answer.size());
  return 0;
}

Update::outcome Update::drive(fw_update* update) {
  kxtool_device device;
  device.wire = &kxtool_mailbox_wire;
  device.os_type = os_type_;
  update->device = &device;
  update->send = send;
  update->pause = short_pause;
  update->limits = limits_;
  update->deafness = deafness_;
  update->journal = [](const char* line) { running_test->journal_.emplace_back(line); };
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  fw_progress_start(&update->progress);
  outcome result;
  result.status = fw_run(update);
  {
    // No notice may come any more.
    const std::lock_guard guard(card_->lock());
    card_->processor().detach_tool();
    fw_update_set(nullptr);
  }
  for (uint32_t id : {FW_TIMER_ERASE, FW_TIMER_READ_BACK, FW_TIMER_END}) {
    fw_cancel_timer(id);
  }
  result.printed = testing::internal::GetCapturedStdout();
  result.log = testing::internal::GetCapturedStderr();
  return result;
}

Update::outcome Update::run(const package_file::file& package) {
  fw_update update;
  EXPECT_TRUE(package.ok());
  EXPECT_EQ(fw_package_open(package.path(), &update.package), fw_open_result::opened);
  update.command = "bin";
  fw_update_set(&update);
  kxtool_fw_fsm_set(FW_STATE_PARSE);
  return drive(&update);
}

Update::outcome Update::run_query(const char* word, fw_state state) {
  fw_update update;
  update.command = word;
  fw_update_set(&update);
  kxtool_fw_fsm_set(state);
  return drive(&update);
}

std::vector<package_file::bytes> Update::requests(uint8_t first, uint8_t count) const {
  std::vector<package_file::bytes> found;
  std::copy_if(sent_.begin(), sent_.end(), std::back_inserter(found),
               [&](const package_file::bytes& request) { return request[0] >= first && request[0] < first + count; });
  return found;
}
