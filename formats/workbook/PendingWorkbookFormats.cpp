// Registry rows of the workbook and matrix formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(LotusFileFactory, "Lotus 1-2-3 File", "Lotus 1-2-3 Files (*.wks; *.wk1)", nullptr,
                  4, ".wks\0.wk1\0.wrk\0.wr1\0", 0, 1, 0, 1, 0, 1)
ZM_PENDING_FORMAT(TvpFileFactory, "TAVIX project file", "TAVIX project file (*.tvp)", nullptr, 1,
                  ".tvp\0", 0, 1, 0, 1, 0, 1)
