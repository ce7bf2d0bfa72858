// Built only by the model_cannot_see_the_service test, which expects this file not to compile:
// the model layer sits below the forecast service, so the service's headers are not on its path.
#include "model/chart_packet.h"
#include "service/forecast_service.h"
