// Recognising a Monte Carlo / simulated-annealing run from the end of its log.

#ifndef TABRUN_ANALYSIS_MONTE_CHECK_H_
#define TABRUN_ANALYSIS_MONTE_CHECK_H_

#include "recio/fixed_text.h"
#include "recio/record_reader.h"

namespace tabrun {

// Looks for the annealing control file line "=> PCR  File  :" among the last seven records
// of a log whose search for the ordinary control file line has just reached end of file.
//
// REQUIRES: `log` stands at end of file.
// On success returns true, sets *run_text to "Normal end for <name>.pcr (Monte/Sim.Anneal.)",
// where <name> is the field that starts right after the first colon of the line and ends
// before the first blank found from two columns after that colon, and leaves `log` so that
// the next read returns the seventh record above the marker line (or the first record).
// Otherwise returns false with *run_text unchanged and `log` at end of file.
bool CheckMonte(RecordReader& log, FixedText* run_text);

}  // namespace tabrun

#endif  // TABRUN_ANALYSIS_MONTE_CHECK_H_
