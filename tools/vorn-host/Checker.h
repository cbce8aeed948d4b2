// Checker.h - `vorn-host check PLUGIN`: puts one plug-in through its whole
// life in a scratch root and reports what a plug-in author should fix.
#ifndef VORN_HOST_CHECKER_H
#define VORN_HOST_CHECKER_H

#include <ostream>
#include <string>

namespace vornhost {

// Returns the process exit status: 0 no findings, 1 findings (a crash is
// one), 2 the check could not run. A callback longer than budgetMs is a
// finding.
int CheckPlugin(const std::string& plugin, const std::string& library, float budgetMs,
                std::ostream& out);

}  // namespace vornhost

#endif
