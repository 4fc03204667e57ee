// SPDX-License-Identifier: Apache-2.0
//
// The distance image algorithm as a plug-in: unpacks the received chunks into plain records, decides
// when the pipeline has to be initialised, keeps the raw images of a frame alive, and feeds the
// pipeline.
#pragma once

#include "QorDICIRecords.h"
#include "QorRecords.h"
#include "TamAlgoSimInterface.h"

class AlgoDistanceImage : public TamAlgoSimInterface {
 public:
    AlgoDistanceImage();

    void getAlgoVersion(AlgoVersion& version) override;
    void assignReceivedChunks(bool fromCustomPin) override;
    bool processAlgo() override;

 private:
    static constexpr int kRawImages = 32;  ///< of one frame; further images reuse the slots

    void interpretCalibration();
    bool collectRawdata(const Packet& chunks);
    void assignInput();
    bool initialise();
    void applyImage();

    bool m_AlgoInitialized = false;         ///< the pipeline runs with the current parameters
    bool m_CalibrationInterpreted = false;  ///< m_DistanceImageCalib holds the camera's calibration
    QorDistanceImageIFInput m_DistanceImageInput;
    QorDistanceImageIFCalib m_DistanceImageCalib;
    QorDistanceImageCustomization m_DistanceImageCustom;  ///< from the custom pin
    QorDICIAuxiliaryParam m_DICIaux;
    bool m_prioCustom = false;     ///< a customization came over the custom pin and takes precedence
    bool m_haveRawData = false;    ///< a raw image and its input record are waiting
    bool m_haveDIIFInput = false;  ///< an input record is waiting
    QorRawPhaseData m_QorRawData[kRawImages];
    QorRawdataPhase m_QorRawPhases[kRawImages] = {};
    int m_phaseCounter = 0;  ///< slot of the next raw image
    QorDistanceImageIFOutput m_DIResult;
    QorDistanceImageIFParam m_lastParams;
};
