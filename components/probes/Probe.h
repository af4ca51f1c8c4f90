#pragma once
// A probe: serial number, conversion type and one coefficient set per conversion type, so
// switching the type back and forth keeps each type's coefficients.
#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "components/probes/Conversion.h"
#include "vesk4710/platform/IProbe.h"

namespace vesk::probes {

class Probe : public IProbe {
  public:
    static constexpr int32_t kLowestType = -1;
    static constexpr int32_t kHighestType = 20;

    static std::shared_ptr<Probe> Create();

    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    void ApplicationPath(const std::string& path) override { applicationPath_ = path; }
    std::string ApplicationPath() const override { return applicationPath_; }
    void Registry(std::shared_ptr<IRegistry> registry) override { registry_ = std::move(registry); }
    std::shared_ptr<IRegistry> Registry() const override { return registry_; }
    bool Changed() const override { return changed_; }
    void Changed(bool changed) override { changed_ = changed; }
    void FilePath(const std::string& path) override { filePath_ = path; }
    std::string FilePath() const override { return filePath_; }
    std::string Serial() const override { return serial_; }
    void Serial(const std::string& serial) override;
    void DatabaseLevel(int32_t level) override { databaseLevel_ = level; }
    int32_t DatabaseLevel() const override { return databaseLevel_; }
    int32_t ConversionType() const override { return type_; }
    // -1..20; anything else is refused, the current type stays.
    void ConversionType(int32_t type) override;
    IConversion& ActiveConversion() override { return ConversionOf(type_); }
    IConversion& ConversionOf(int32_t type) override;

  private:
    Probe();

    bool changed_ = false;  // first: the conversions keep a reference to it
    std::string applicationPath_;
    std::shared_ptr<IRegistry> registry_;
    std::string filePath_;
    std::string serial_;
    int32_t databaseLevel_ = 0;
    int32_t type_ = -1;
    std::array<std::unique_ptr<Conversion>, kHighestType - kLowestType + 1> conversions_;
};

}  // namespace vesk::probes
