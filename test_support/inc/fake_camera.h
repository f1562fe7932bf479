// The camera's end of the link for tests: answers as told.
#pragma once

#include <bit>
#include <memory>
#include <mutex>
#include <string>

#include "DorVenImagesComm.h"
#include "IPMessenger.h"
#include "image_view.h"
#include "test_channel.h"

namespace test {

class FakeCamera {
public:
    explicit FakeCamera(const frames::ImageFormat& format) { setFormat(format); }

    /// Takes effect at the next question for the size, so that questions for size and format in a row never get half of
    /// the old format and half of this one.
    void setFormat(const frames::ImageFormat& format) { _channel->setFormat(format); }

    /// Asks the simulator for a picture, as a host may through the camera. @return The answer; all zero when there is
    /// none.
    kest::dorven::ImagesMessage askForPicture() { return _channel->ask({kest::dorven::kCommandSnap, 1, 2, 3}); }

    /// From now on answers questions for the image format with "failed".
    void refuseFormat() { _channel->refuseFormat(); }

private:
    class Channel : public kest::dorven::DorVenImagesComm {
    public:
        std::string requestId() override { return DorVenImagesComm::responseId(); }
        std::string responseId() override { return DorVenImagesComm::requestId(); }
        kest::dorven::ImagesMessage handle(const kest::dorven::ImagesMessage& request) override {
            const std::lock_guard lock(_mutex);
            kest::dorven::ImagesMessage answer = request;
            if (request.command == kest::dorven::kCommandImageSize) {
                _told = _format;
                answer.first = _told.width;
                answer.second = _told.height;
            } else if (request.command == kest::dorven::kCommandPixelSize) {
                answer.first = std::bit_cast<std::uint64_t>(2.5);
                answer.second = std::bit_cast<std::uint64_t>(3.5);
            } else if (request.command == kest::dorven::kCommandImageFormat && !_refusing) {
                answer.value32 = static_cast<std::uint32_t>(_told.bytesPerPixel);
            } else {
                answer.command = kest::dorven::kCommandFailed;
            }
            return answer;
        }
        void setFormat(const frames::ImageFormat& format) {
            const std::lock_guard lock(_mutex);
            _format = format;
        }
        void refuseFormat() {
            const std::lock_guard lock(_mutex);
            _refusing = true;
        }

    private:
        std::mutex _mutex;
        frames::ImageFormat _format;
        frames::ImageFormat _told;  // reported by the last answer for the size
        bool _refusing = false;
    };

    std::shared_ptr<Channel> _channel = std::make_shared<Channel>();
    std::shared_ptr<kest::dorven::IPMessenger> _messenger = PatientMessenger::create(_channel);
};

}  // namespace test
