// The campaigns by their names.
#ifndef CAMPAIGNS_H
#define CAMPAIGNS_H

#include "campaign.h"

namespace faults {

void runChildrenCampaign(Campaign& campaign);
void runDriverCampaign(Campaign& campaign);
void runHostCampaign(Campaign& campaign);
void runLoadCampaign(Campaign& campaign);
void runMemoryCampaign(Campaign& campaign);
void runModelCampaign(Campaign& campaign);
void runMutexesCampaign(Campaign& campaign);
void runNamesCampaign(Campaign& campaign);
void runSoakCampaign(Campaign& campaign);
void runThreadsCampaign(Campaign& campaign);

}  // namespace faults

#endif
