// How many CPUs the program may use, and how much CPU time it has used.

#ifndef TABRUN_OS_CPUS_H_
#define TABRUN_OS_CPUS_H_

namespace tabrun::os {

// The number of CPUs this process may run on: those its affinity mask allows where the
// system has one, otherwise those online. At least 1, also when the system cannot say.
int UsableCpus();

// The CPU time this process has used so far, in all its threads, in user and in system mode,
// in seconds; 0 when the system cannot say. Wall time never counts: a process that sleeps or
// waits for a file uses none.
double ProcessCpuSeconds();

}  // namespace tabrun::os

#endif  // TABRUN_OS_CPUS_H_
