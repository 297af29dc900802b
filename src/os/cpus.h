// How many CPUs the program may use.

#ifndef TABRUN_OS_CPUS_H_
#define TABRUN_OS_CPUS_H_

namespace tabrun::os {

// The number of CPUs this process may run on: those its affinity mask allows where the
// system has one, otherwise those online. At least 1, also when the system cannot say.
int UsableCpus();

}  // namespace tabrun::os

#endif  // TABRUN_OS_CPUS_H_
