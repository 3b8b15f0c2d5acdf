// Everything a host needs.
#ifndef KORINTERFACE_KORINTERFACE_H
#define KORINTERFACE_KORINTERFACE_H

#include "KORInterface/CKor.h"
#include "KORInterface/CKorDualLevel.h"
#include "KORInterface/CKorModel.h"
#include "KORInterface/CKorPendulum.h"
#include "KORInterface/CKorPolarizer.h"
#include "KORInterface/CKorPrm.h"
#include "KORInterface/CKorThreeVec.h"
#include "KORInterface/CKorThreeVec2Level.h"
#include "KORInterface/CKorThreeVec2Levelv2.h"
#include "KORInterface/Configure.h"
#include "KORInterface/OrientationModel.h"
#include "KORInterface/ParameterCheck.h"
#include "KORInterface/ParameterFile.h"
#include "KORInterface/ParameterStore.h"
#include "KORInterface/Records.h"
#include "KORInterface/Session.h"
#include "KORInterface/SharedRecords.h"
#include "KORInterface/Status.h"

#endif
