// SPDX-License-Identifier: Apache-2.0
//
// What the page's script calls. Texts are JSON in UTF-8. Texts and images stay until the next call of the
// same function; the address of an image is 0 if there is none. A document with a member "failure" says in
// words what did not work.

#include <emscripten.h>

#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>

#include "session/Session.h"

namespace {

using Json = nlohmann::ordered_json;

std::unique_ptr<web::Session> g_session;
web::Bytes g_result;

template <class Work>
const char* documentOf(const Work& work) {
    static std::string text;
    Json document;
    try {
        document = work();
    } catch (const std::exception& error) {
        document = Json{{"failure", error.what()}};
    }
    text = document.dump(-1, ' ', false, Json::error_handler_t::replace);
    return text.c_str();
}

Json progressOf(const web::RecordingIndex& index) {
    return {{"frames", index.frames()},
            {"packets", index.packets()},
            {"bytesRead", static_cast<double>(index.bytesRead())},
            {"bytes", static_cast<double>(index.fileSize())},
            {"isComplete", index.isComplete()},
            {"damage", index.damage()}};
}

}  // namespace

extern "C" {

/** Opens a recording. */
EMSCRIPTEN_KEEPALIVE const char* session_open(const char* path) {
    return documentOf([&] {
        g_session.reset();
        g_session = std::make_unique<web::Session>(path);
        return progressOf(g_session->index());
    });
}

/** Reads on for so many milliseconds. */
EMSCRIPTEN_KEEPALIVE const char* session_index(double milliseconds) {
    return documentOf([&] {
        g_session->index().grow(milliseconds);
        return progressOf(g_session->index());
    });
}

EMSCRIPTEN_KEEPALIVE const char* session_settings() {
    return documentOf([] { return g_session->settings(); });
}

/** Processes a frame; the report of it, or how far it came in the time. */
EMSCRIPTEN_KEEPALIVE const char* session_compute(std::uint32_t frame, const char* settings,
                                                 std::uint32_t runIn, double milliseconds) {
    return documentOf([&] {
        return g_session->compute(frame, settings, runIn, milliseconds)
                   ? g_session->report()
                   : Json{{"reached", g_session->reached()}};
    });
}

/** 38528 floats, which stay until the next call of session_compute. */
EMSCRIPTEN_KEEPALIVE const float* session_image(const char* name) {
    const std::span<const float> image = g_session->image(name);
    return image.empty() ? nullptr : image.data();
}

/** 38528 times red, green, blue and 255. */
EMSCRIPTEN_KEEPALIVE const std::uint8_t* session_paint(const char* name, const char* map, double minimum,
                                                       double maximum) {
    static std::vector<std::uint8_t> pixels;
    pixels = g_session->painted(name, map, minimum, maximum);
    return pixels.empty() ? nullptr : pixels.data();
}

/** A colour map as 1024 colours of four bytes, from its minimum to its maximum. */
EMSCRIPTEN_KEEPALIVE const std::uint8_t* session_colors(const char* map) {
    static std::vector<std::uint8_t> colors;
    colors = web::colorsOf(map);
    return colors.data();
}

/** The result packet as `qor run` writes it; then its size. */
EMSCRIPTEN_KEEPALIVE const std::uint8_t* session_result() {
    g_result = g_session->result();
    return g_result.data();
}
EMSCRIPTEN_KEEPALIVE std::uint32_t session_result_size() {
    return static_cast<std::uint32_t>(g_result.size());
}

}  // extern "C"
