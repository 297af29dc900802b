// Every text the log scan looks for, in one place.

#ifndef TABRUN_ANALYSIS_MARKERS_H_
#define TABRUN_ANALYSIS_MARKERS_H_

#include <string_view>

namespace tabrun::markers {

// Texts searched for in a log. None has leading or trailing blanks; every search is exact and
// case-sensitive, within the first 256 columns of a record.
inline constexpr std::string_view kControlFile = "Control file *.pcr:";
inline constexpr std::string_view kNormalEnd = "Normal end";
inline constexpr std::string_view kCpuTime = "CPU Time:";
inline constexpr std::string_view kChi2 = "Chi2:";
inline constexpr std::string_view kRp = "Rp:";
inline constexpr std::string_view kRf2 = "RF2 -factor :";
// The other figures of a result record, read by the rows for scripts.
inline constexpr std::string_view kRwp = "Rwp:";
inline constexpr std::string_view kRexp = "Rexp:";
inline constexpr std::string_view kRf2w = "RF2w-factor :";
inline constexpr std::string_view kRf = "RF-factor :";
inline constexpr std::string_view kBestSolution = "=> Sol#: 1 RF2=";
// Two blanks between "PCR" and "File" and between "File" and the colon.
inline constexpr std::string_view kAnnealingControlFile = "=> PCR  File  :";

// Texts that say why a failed run stopped, looked for among the last records of its log only.
// A record with "Abnormal end" is the program's own word and comes first; then the words of
// its errors, of the Fortran runtime, of the system and of a batch scheduler.
inline constexpr std::string_view kAbnormalEnd = "Abnormal end";
inline constexpr std::string_view kErrorWords[] = {
    "ERROR",  "Error",    "error:", "write error", "forrtl:", "Program received signal",
    "Killed", "CANCELLED"};
// Lines only an annealing run writes: its temperature steps and its best solutions, and its
// run mode.
inline constexpr std::string_view kAnnealingWords[] = {"=> Temp:", "=> Sol#:", "Best solutions",
                                                       "simulated annealing"};

// Appended to the control file name a log states.
inline constexpr std::string_view kPcrSuffix = ".pcr";

}  // namespace tabrun::markers

#endif  // TABRUN_ANALYSIS_MARKERS_H_
