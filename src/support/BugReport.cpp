#include "support/BugReport.h"

#include "support/PercentEncoding.h"

namespace quorvex {

std::string bugReportUrl(const std::string& supportAddress, const BundleInformation& bundle,
                         bool signedIn, const std::string& status) {
  const std::string body =
      "Describe what happened:\n\n\n——— diagnostics (please keep) ———\n"
      "App: Quorvex Camera " +
      bundle.version.value_or("?") + " (" + bundle.build.value_or("?") +
      ")\nmacOS: " + bundle.operatingSystem +
      "\nAccount: " + (signedIn ? "signed-in" : "not signed in") + "\nStatus: " + status;
  return "mailto:" + supportAddress + "?subject=" + percentEncoded("Quorvex Camera bug report") +
         "&body=" + percentEncoded(body);
}

}  // namespace quorvex
