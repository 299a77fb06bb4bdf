// Function-level reset, by the kernel: it saves all settings of the function before and gives them back after it.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "actions.h"
#include "capabilities.h"
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

int32_t kernel_offer_check(const char* function, function_files* files) {
  const std::string folder = std::string(KXTOOLS_PCI_DEVICES) + "/" + function;
  files->reset = folder + "/reset";
  if (access(files->reset.c_str(), F_OK) != 0) {
    KXTOOLS_ERR("the kernel offers no reset of %s\n", function);
    return -1;
  }
  files->methods = kxtools_file_line(folder + "/reset_method");
  if (files->methods.empty()) {
    return 0;
  }
  files->method = folder + "/reset_method";
  if (!has_word(files->methods, FUNCTION_LEVEL)) {
    KXTOOLS_ERR("the kernel offers no function-level reset of %s, only: %s\n", function, files->methods.c_str());
    return -1;
  }
  return 0;
}

int32_t reset_check(kxtools_sbdf sbdf, const char* word, function_files* files) {
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  const bool is_named = kxtools_is_short_address(word)
                            ? strncmp(function, "0000:", 5) == 0 && strcmp(word, function + 5) == 0
                            : strcmp(word, function) == 0;
  if (!is_named) {
    KXTOOLS_ERR("the bound function is %s, not %s; nothing was reset\n", function, word);
    return -1;
  }
  uint32_t express = 0;
  uint32_t capabilities = 0;
  if (kxpcie_capability_find(sbdf, false, PCI_CAP_ID_EXP, &express) != 0 ||
      kxpcie_dwords_read(sbdf, express + PCI_EXP_DEVCAP, 1, &capabilities) != 0) {
    return -1;
  }
  if ((capabilities & PCI_EXP_DEVCAP_FLR) == 0) {
    KXTOOLS_ERR("the function cannot be reset by itself\n");
    return -1;
  }
  char driver[64];
  if (kxtools_dev_driver_get(function, driver)) {
    KXTOOLS_ERR("a driver uses %s; unbind it first\n", function);
    return -1;
  }
  bool found = false;
  uint32_t sriov = 0;
  uint16_t control = 0;
  if (kxpcie_capability_look(sbdf, true, PCI_EXT_CAP_ID_SRIOV, &found, &sriov) != 0 ||
      (found && kxpcie_word_read(sbdf, sriov + PCI_SRIOV_CTRL, &control) != 0)) {
    return -1;
  }
  if ((control & PCI_SRIOV_CTRL_VFE) != 0) {
    KXTOOLS_ERR("virtual functions of %s are on; a reset would remove them\n", function);
    return -1;
  }
  return kernel_offer_check(function, files);
}

// The kernel takes the first of its methods; for the time of the reset that is the function-level one.
int32_t reset_run(const char* function, const function_files& files) {
  const bool other_first = !files.method.empty() && !files.methods.starts_with(FUNCTION_LEVEL);
  int32_t result = 0;
  if ((other_first && !file_write(files.method, FUNCTION_LEVEL)) || !file_write(files.reset, "1")) {
    KXTOOLS_ERR("the kernel could not reset %s: %s\n", function, strerror(errno));
    result = -1;
  }
  if (other_first && !file_write(files.method, files.methods)) {
    KXTOOLS_ERR("the reset methods of %s were %s and could not be put back: %s\n", function, files.methods.c_str(),
                strerror(errno));
    result = -1;
  }
  return result;
}

}  // namespace

int32_t kxpcie_flr(kxtools_sbdf sbdf, kxpcie_words words) {
  function_files files;
  if (reset_check(sbdf, words[0], &files) != 0) {
    return -1;
  }
  // No other tool's command works on the card meanwhile, and no other process is in the middle of an access.
  const kx_unique_fd alone = kxtools_card_lock(sbdf, kxtools_card_use::alone);
  card_lock card;
  pcie_lock lock;
  if (!alone || !card.take() || !lock.take()) {
    return -1;
  }
  const kx_signal_hold hold;
  char function[13];
  kxtools_sbdf_text(sbdf, function);
  int32_t result = reset_run(function, files);
  bool answers = false;
  if (pcie_function_answers(sbdf, &answers) != 0 || !answers) {
    KXTOOLS_ERR("the function does not answer after its reset\n");
    result = -1;
  }
  if (result == 0) {
    kx_print("%s was reset and has its settings back\n", function);
  }
  return result;
}
