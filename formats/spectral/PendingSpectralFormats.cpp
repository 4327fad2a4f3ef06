// Registry rows of the spectral formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(NsasFileFactory, "NSAS File", "NSAS Files (*.da)", nullptr, 1, ".da\0", 0, 1, 0,
                  1, 0, 1)
