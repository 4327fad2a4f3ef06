// Registry rows of the workbook and matrix formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(TvpFileFactory, "TAVIX project file", "TAVIX project file (*.tvp)", nullptr, 1,
                  ".tvp\0", 0, 1, 0, 1, 0, 1)
