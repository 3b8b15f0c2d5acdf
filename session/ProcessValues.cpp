#include "models/ProcessValues.h"

#include "KORInterface/Session.h"

namespace kor {

void FreshProcessValues()
{
    freshFirstVersionValues();
    freshSecondVersionValues();
}

} // namespace kor
