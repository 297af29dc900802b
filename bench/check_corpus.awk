# Checks that every log given on the command line has the shape of an
# ordinary or an annealing run, as log_synth.h describes it, so that a
# benchmark never times tabrun on logs it would reject.
#
#   awk -f check_corpus.awk run*.log
#
# Prints one line per faulty log and a closing "checked N logs: O ordinary,
# A annealing, F faulty"; exits 1 if any log is faulty. Plain POSIX awk.

function reset() {
  n_control = n_normal = n_cpu = n_result = n_pcr = n_sol = 0
  control = normal = cpu = result = pcr = 0
  first_sol = 0
}

function fault(why) {
  printf "%s: %s\n", file, why
  faulty++
  bad = 1
}

function finish(lines,    gap) {
  bad = 0
  if (n_control > 0) {
    ordinary++
    if (n_control != 1 || control > 30) fault("control line missing from the top or repeated")
    if (n_normal != 1 || n_cpu != 1 || normal > cpu) fault("Normal end / CPU Time missing, repeated or out of order")
    gap = cpu - result
    if (n_result != 1 || gap > 33 || gap < -3 || gap == 0) fault("result line missing, repeated or too far from CPU Time")
    if (n_pcr + n_sol > 0) fault("annealing lines in an ordinary run")
  } else {
    annealing++
    if (n_normal + n_result > 0) fault("ordinary result lines in an annealing run")
    if (n_pcr != 1 || pcr <= lines - 7) fault("PCR line missing, repeated or not among the last 7 lines")
    gap = cpu - pcr
    if (n_cpu != 1 || gap > 3 || gap < -3) fault("CPU Time missing, repeated or too far from the PCR line")
    if (n_sol < 1 || cpu - first_sol > 28 || first_sol > cpu) fault("solution lines missing or not within 28 lines above CPU Time")
  }
  checked++
}

FNR == 1 {
  if (NR > 1) finish(last_fnr)
  file = FILENAME
  reset()
}

{
  last_fnr = FNR
  if (length($0) > 256) next
}

index($0, "Control file *.pcr:") { n_control++; control = FNR }
index($0, "Normal end") { n_normal++; normal = FNR }
index($0, "CPU Time:") { n_cpu++; cpu = FNR }
(index($0, "Chi2:") && index($0, "Rp:")) || index($0, "RF2 -factor :") { n_result++; result = FNR }
index($0, "PCR  File  :") { n_pcr++; pcr = FNR }
index($0, "Sol#:") { if (n_sol++ == 0) first_sol = FNR }

END {
  if (NR > 0) finish(last_fnr)
  printf "checked %d logs: %d ordinary, %d annealing, %d faulty\n", checked, ordinary, annealing, faulty
  exit faulty > 0
}
