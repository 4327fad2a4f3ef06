// Registry rows of the text formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(DexanFileFactory, "DEXAN File", "DEXAN Files (*.mip; *.dat)", nullptr, 2,
                  ".mip\0.dat\0", 0, 1, 0, 1, 0, 1)
ZM_PENDING_FORMAT(ThermoSIEVEFileFactory, "Thermo SIEVE File", "Thermo SIEVE Files (*.txt)",
                  "Thermo SIEVE File (*.txt)", 1, ".txt\0", 0, 1, 0, 1, 1, 1)
ZM_PENDING_FORMAT(UnscramblerFileFactory, "Unscrambler File", "Unscrambler Files (*.uns; *.inp)",
                  nullptr, 2, ".uns\0.inp\0", 0, 1, 0, 1, 0, 1)
