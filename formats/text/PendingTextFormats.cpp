// Registry rows of the text formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(UnscramblerFileFactory, "Unscrambler File", "Unscrambler Files (*.uns; *.inp)",
                  nullptr, 2, ".uns\0.inp\0", 0, 1, 0, 1, 0, 1)
