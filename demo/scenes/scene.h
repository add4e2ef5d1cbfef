// A scene shows one facility at work. It orders the processes about, checks what came of it and writes the transcript.
#pragma once

#include <filesystem>

#include "director/endpoint.h"
#include "director/log_reader.h"
#include "director/transcript.h"

namespace tarn::demo {

struct Stage {
    Endpoint& endpoint;
    Transcript& transcript;
    LogReader logs;
    std::filesystem::path directory;
};

void sceneStart(Stage& stage);
void sceneCalls(Stage& stage);
void sceneNotifications(Stage& stage);
void sceneTexts(Stage& stage);
void sceneTimers(Stage& stage);
void sceneConfig(Stage& stage);
void sceneXml(Stage& stage);
void sceneTls(Stage& stage);
void sceneCrash(Stage& stage);
void sceneEnd(Stage& stage);

} // namespace tarn::demo
