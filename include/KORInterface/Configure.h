// Configuring an engine under the names of earlier releases; new hosts call kor::Configure (Session.h).
#ifndef KORINTERFACE_CONFIGURE_H
#define KORINTERFACE_CONFIGURE_H

#include "KORInterface/Session.h"

namespace kor {

/// Copies every parameter group of a loaded set into an engine and chooses a mount mode in place of the file's.
/// Given     engine     a new engine; LoadParameterStore, if it is to have an effect, must come before this call
///           prm        a parameter set that a read has filled
///           mountMode  the mode to choose. Choosing the file's first and another one afterwards is not the same: the
///                      first choice fixes the kind of the model
/// Returned  result     that of Configure
inline int ConfigureEngine(CKor& engine, CKorPrm& prm, int mountMode)
{
    return Configure(engine, prm, ConfigureOptions().mountMode(mountMode));
}

/// The same with the mount mode of the file.
inline int ConfigureEngine(CKor& engine, CKorPrm& prm)
{
    return Configure(engine, prm);
}

} // namespace kor

#endif
