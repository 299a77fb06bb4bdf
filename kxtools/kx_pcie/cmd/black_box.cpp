// Everything that can be told about the function without disturbing it, in one file.
#include <cerrno>
#include <cstring>
#include <iterator>

#include "actions.h"
#include "common/clock.h"
#include "common/progress_bar.h"
#include "common/report.h"
#include "common/result_file.h"
#include "common/signals.h"
#include "reports.h"

namespace {

struct section {
  const char* title;
  kxpcie_report_fn report;
};
constexpr section SECTIONS[] = {
    {"capabilities", kxpcie_cap_list},
    {"extended capabilities", kxpcie_ecap_list},
    {"BARs", kxpcie_bar_list},
    {"device status", kxpcie_dev_status},
    {"link status", kxpcie_link_status},
    {"equalisation", kxpcie_eq_status},
    {"advanced errors", kxpcie_aer_dump},
    {"MSI-X", kxpcie_msix_dump},
    {"MSI", kxpcie_msi_dump},
    {"SR-IOV and ARI", kxpcie_sriov},
    {"power", kxpcie_power},
    {"address translation", kxpcie_smmu},
    {"product data", kxpcie_vpd_dump},
    {"configuration space", kxpcie_cfg_whole},
};

}  // namespace

void kxpcie_black_box(kxpcie_target& target, kxpcie_words words) {
  const kx_signal_guard guard;  // a signal takes effect when the file is gone
  kx_result_file file;
  if (!file.open(words[0])) {
    KXPCIE_FAIL(target, "cannot make %s: %s", words[0], strerror(errno));
    return;
  }
  fprintf(file.stream(), "PCI Express state of %s, %s\n", kxtools_sbdf_text(target.sbdf()).text, kx_utc_text().c_str());
  size_t missing = 0;
  {
    kx_progress_bar progress("black box", std::size(SECTIONS));
    for (const section& row : SECTIONS) {
      if (kx_signal_guard::raised() != 0 || ferror(file.stream()) != 0) {
        break;
      }
      fprintf(file.stream(), "\n== %s ==\n", row.title);
      // What the function does not have or does not tell leaves a hole, not an end: the rest may be what is needed.
      kxpcie_target section_target(target.sbdf());
      row.report(file.stream(), section_target);
      if (section_target.end() != 0) {
        fprintf(file.stream(), "not available\n");
        ++missing;
      }
      progress.update(static_cast<uint64_t>(&row - SECTIONS + 1));
    }
  }
  if (kx_signal_guard::raised() != 0) {
    KXPCIE_FAIL(target, "interrupted, nothing is kept");
    return;
  }
  if (!file.commit()) {
    KXPCIE_FAIL(target, "cannot write %s: %s", words[0], strerror(errno));
    return;
  }
  kx_print("%zu of %zu sections written to %s\n", std::size(SECTIONS) - missing, std::size(SECTIONS), words[0]);
  target.check(missing != std::size(SECTIONS));
}
