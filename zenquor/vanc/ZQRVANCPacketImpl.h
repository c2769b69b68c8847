#pragma once
// The base of every packet kind.

#include "zenquor/vanc/ZQRVANCPacket.h"

namespace zenquor {

/// A packet that holds its four properties as given.
///
/// Thread-safety: as ZQRVANCPacket.
class ZQRVANCPacketImpl : public ZQRVANCPacket {
public:
    static std::shared_ptr<ZQRVANCPacketImpl> initWithDID(std::int32_t did, std::int32_t sdid,
                                                          std::int32_t line, ZQData data);

    std::int32_t DID() const override { return did_; }
    void setDID(std::int32_t did) override { did_ = did; }
    std::int32_t SDID() const override { return sdid_; }
    void setSDID(std::int32_t sdid) override { sdid_ = sdid; }
    std::int32_t lineNumber() const override { return line_; }
    void setLineNumber(std::int32_t line) override { line_ = line; }
    ZQData sdiData() override { return data_; }
    void setSdiData(ZQData data) override { data_ = std::move(data); }

    /// "VANC DID:… SDID:… line:…", decimal.
    std::string description() const override;
    /// Writes debugDescription() to the log at debug level.
    virtual void log() const;

protected:
    ZQRVANCPacketImpl(std::int32_t did, std::int32_t sdid, std::int32_t line, ZQData data);

private:
    std::int32_t did_;
    std::int32_t sdid_;
    std::int32_t line_;
    ZQData data_;
};

}  // namespace zenquor
