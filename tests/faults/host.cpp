// A host that rewrites parameter files, as the faults find one.
//   faults_host FILE...   ends with 0, or with 1 for 550 and 2 for 553, the last of them that occurred
#include <algorithm>
#include <iterator>
#include <string>

#include "KORInterface/CKorPrm.h"
#include "KORInterface/Status.h"

int main(int count, char** arguments)
{
    int status = 0;
    for (int i = 1; i < count; ++i) {
        // The test gives names in ASCII, shorter than the array.
        const std::string path = arguments[i];
        CKorPrm prm;
        *std::copy(path.begin(), path.end(), std::begin(prm.prmDirectory)) = L'\0';
        const int result = prm.PrmFileCopy();
        status = result == kor::kCannotOpen ? 1 : result == kor::kFormatError ? 2 : status;
    }
    return status;
}
