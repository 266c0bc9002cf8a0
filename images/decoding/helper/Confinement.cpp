#include "Confinement.h"

#include "FileAccess.h"
#include "SystemCalls.h"

#include <sys/prctl.h>
#include <sys/resource.h>

namespace frameflow {

namespace {

bool limit(__rlimit_resource resource, rlim_t value)
{
    const rlimit limits{value, value};
    return setrlimit(resource, &limits) == 0;
}

bool limitMemory(qint64 mostMemory)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    // They reserve more address space than there is memory in any machine.
    Q_UNUSED(mostMemory)
    return false;
#else
    return mostMemory > 0 && limit(RLIMIT_AS, static_cast<rlim_t>(mostMemory));
#endif
}

} // namespace

ConfinementOffer kernelOffer()
{
    return {fileAccessVersion(), canRestrictSystemCalls()};
}

Confinement confine(qint64 mostMemory, const ConfinementOffer& offer)
{
    constexpr rlim_t mostDescriptors = 64;
    Confinement done;
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_NOFILE, mostDescriptors);
    if (mostMemory > 0) {
        limit(RLIMIT_FSIZE, static_cast<rlim_t>(mostMemory)); // of files in memory: there are no others
    }
    done.memory = limitMemory(mostMemory);
    done.noNewPrivileges = prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0;
    done.fileAccess = done.noNewPrivileges && restrictFileAccess(offer.fileAccessVersion);
    done.systemCalls = done.noNewPrivileges && offer.systemCalls && restrictSystemCalls();
    return done;
}

} // namespace frameflow
