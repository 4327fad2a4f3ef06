// Registry rows of the spectral and chromatography formats whose readers are not built yet.
#include "framework/PendingFormat.h"

ZM_PENDING_FORMAT(ChemStationFileFactory, "HPLC ChemStation File",
                  "HPLC ChemStation Files (*.ch, *.uv)", "HPLC ChemStation File (*.ch)", 2,
                  ".ch\0.uv\0", 0, 1, 1, 1, 0, 1)
ZM_PENDING_FORMAT(NsasFileFactory, "NSAS File", "NSAS Files (*.da)", nullptr, 1, ".da\0", 0, 1, 0,
                  1, 0, 1)
