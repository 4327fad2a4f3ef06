// Registry rows of the semiconductor process-data formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(BrooksideFileFileFactory, "Brookside File", "Brookside Files (*.trn; *.pkg)",
                  nullptr, 2, ".trn\0.pkg\0", 0, 1, 0, 1, 0, 1)
