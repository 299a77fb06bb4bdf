// Function-level reset, by the kernel: it saves all settings of the function before and gives them back after it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "actions.h"
#include "common/report.h"
#include "common/signals.h"
#include "common/unique_fd.h"
#include "device/address.h"
#include "device/card_lock.h"
#include "device/function.h"
#include "device/sysfs.h"
#include "kx_pcie/card_lock.h"
#include "kx_pcie/config_space.h"
#include "kx_pcie/pcie_lock.h"

namespace {

constexpr const char* FUNCTION_LEVEL = "flr";

struct function_files {
  std::string reset;
  std::string method;   // "" where the kernel has no such file and tries a function-level reset before others
  std::string methods;  // what stands in it, in the order in which the kernel would try them
};

// Writes a word to a file of the kernel, which does it before the call returns. False with errno.
bool file_write(const std::string& path, const std::string& word) {
  const kx_unique_fd fd(open(path.c_str(), O_WRONLY | O_CLOEXEC));
  return fd && write(fd.get(), word.data(), word.size()) == static_cast<ssize_t>(word.size());
}

bool has_word(const std::string& text, const char* word) {
  return (" " + text + " ").find(std::string(" ") + word + " ") != std::string::npos;
}

void kernel_offer_check(kxpcie_target& target, const char* function, function_files* files) {
  files->reset = kxtools_function_path(target.sbdf(), "reset");
  if (access(files->reset.c_str(), F_OK) != 0) {
    KXPCIE_FAIL(target, "the kernel offers no reset of %s", function);
    return;
  }
  const std::string method = kxtools_function_path(target.sbdf(), "reset_method");
  files->methods = kxtools_file_line(method);
  if (files->methods.empty()) {
    return;
  }
  files->method = method;
  if (!has_word(files->methods, FUNCTION_LEVEL)) {
    KXPCIE_FAIL(target, "the kernel offers no function-level reset of %s, only: %s", function, files->methods.c_str());
  }
}

void reset_check(kxpcie_target& target, const char* function, const char* word, function_files* files) {
  const bool is_named = kxtools_is_short_address(word)
                            ? strncmp(function, "0000:", 5) == 0 && strcmp(word, function + 5) == 0
                            : strcmp(word, function) == 0;
  if (!is_named) {
    KXPCIE_FAIL(target, "the bound function is %s, not %s; nothing was reset", function, word);
    return;
  }
  const uint32_t express = target.find(false, PCI_CAP_ID_EXP);
  if ((target.dword(express + PCI_EXP_DEVCAP) & PCI_EXP_DEVCAP_FLR) == 0) {
    KXPCIE_FAIL(target, "the function cannot be reset by itself");
  }
  char driver[64];
  if (kxtools_dev_driver_get(function, driver)) {
    KXPCIE_FAIL(target, "a driver uses %s; unbind it first", function);
  }
  const std::optional<uint32_t> sriov = target.look(true, PCI_EXT_CAP_ID_SRIOV);
  if (sriov && (target.word(*sriov + PCI_SRIOV_CTRL) & PCI_SRIOV_CTRL_VFE) != 0) {
    KXPCIE_FAIL(target, "virtual functions of %s are on; a reset would remove them", function);
  }
  if (target.good()) {
    kernel_offer_check(target, function, files);
  }
}

// The kernel takes the first of its methods; for the time of the reset that is the function-level one. Returns what
// went wrong, "" for nothing.
std::string reset_run(const char* function, const function_files& files) {
  const bool other_first = !files.method.empty() && !files.methods.starts_with(FUNCTION_LEVEL);
  std::string wrong;
  if ((other_first && !file_write(files.method, FUNCTION_LEVEL)) || !file_write(files.reset, "1")) {
    wrong = std::string("the kernel could not reset ") + function + ": " + strerror(errno);
  }
  if (other_first && !file_write(files.method, files.methods)) {
    wrong += wrong.empty() ? "" : "; ";
    wrong += std::string("the reset methods of ") + function + " were " + files.methods +
             " and could not be put back: " + strerror(errno);
  }
  return wrong;
}

}  // namespace

void kxpcie_flr(kxpcie_target& target, kxpcie_words words) {
  const kxtools_sbdf_name name = kxtools_sbdf_text(target.sbdf());
  const char* const function = name.text;
  function_files files;
  reset_check(target, function, words[0], &files);
  if (!target.good()) {
    return;
  }
  // No other tool's command works on the card meanwhile, and no other process is in the middle of an access.
  const kx_unique_fd alone = kxtools_card_lock(target.sbdf(), kxtools_card_use::alone);
  card_lock card;
  pcie_lock lock;
  if (!target.check(alone && card.take() && lock.take())) {
    return;
  }
  const kx_signal_hold hold;
  std::string wrong = reset_run(function, files);
  bool answers = false;
  if (pcie_function_answers(target.sbdf(), &answers) != 0 || !answers) {
    wrong += wrong.empty() ? "" : "; ";
    wrong += "the function does not answer after its reset";
  }
  if (!wrong.empty()) {
    KXPCIE_FAIL(target, "%s", wrong.c_str());
  } else {
    kx_print("%s was reset and has its settings back\n", function);
  }
}
