// The smart auto-exposure output record, as the scene detector publishes it in the byte tag
// "orvane.ai.asd.SmartAE".
#pragma once

#include <stddef.h>
#include <stdint.h>

namespace VO_SMARTAE {

struct SmartAEProcOutput {
    uint32_t version;
    uint32_t frameId;
    float luxIndex;
    float targetBrightness;
    int32_t isoGain;
    int32_t sensorMode;  // sensor readout mode chosen for the capture
    float exposureMs[64];
    float gains[64];
    uint8_t histogram[256];
    uint8_t statistics[140];
    int32_t reserved[48];
    int32_t algoType;  // scene algorithm chosen by smart AE
    int32_t algoParams[8];
};

static_assert(offsetof(SmartAEProcOutput, sensorMode) == 20, "sensor mode at byte 20");
static_assert(offsetof(SmartAEProcOutput, algoType) == 1124, "algorithm type at byte 1124");
static_assert(sizeof(SmartAEProcOutput) >= 1128, "record size");

}  // namespace VO_SMARTAE
