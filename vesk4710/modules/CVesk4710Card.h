#pragma once
// One plug-in input module of the readout and the channels it carries.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/platform/Host.h"
#include "vesk4710/support/Dispatch.h"

namespace vesk {

class CVesk4710;
class CVesk4710Channel;

class CVesk4710Card : public IDispatchable, public std::enable_shared_from_this<CVesk4710Card> {
  public:
    // Builds the module with its channels, numbered within the module from 1.
    static std::shared_ptr<CVesk4710Card> Create(std::shared_ptr<Host> host = Host::Default());
    ~CVesk4710Card() override;
    CVesk4710Card(const CVesk4710Card&) = delete;
    CVesk4710Card& operator=(const CVesk4710Card&) = delete;

    std::string ClassName() const override { return "CVesk4710Card"; }
    const std::vector<MemberInfo>& Members() const override { return MemberTable(); }
    static const std::vector<MemberInfo>& MemberTable();
    Variant Invoke(const std::string& name, MemberKind kind, std::vector<Variant>& args) override;

    void FilePath(const std::string& value);
    std::string FilePath() const;
    void SetRegistry(std::shared_ptr<IRegistry> value);
    std::shared_ptr<IRegistry> Registry() const;
    void SetBaseUnit(const std::shared_ptr<CVesk4710>& value);
    // Empty once the instrument is gone.
    std::shared_ptr<CVesk4710> BaseUnit() const;
    void Changed(bool value);
    bool Changed() const;
    int32_t ModuleType() const;
    void SetModuleNumber(int16_t value);
    int16_t ModuleNumber() const;
    // Every module of this instrument carries exactly one channel.
    int16_t NumChannels() const { return kChannelsPerModule; }
    void SetStartChannel(int16_t value);
    int16_t StartChannel() const;
    std::string ModuleName() const;
    // Raises subscript out of range outside 0 .. NumChannels - 1.
    std::shared_ptr<CVesk4710Channel> Channels(int16_t idx) const;

    static constexpr int16_t kChannelsPerModule = 1;

  private:
    explicit CVesk4710Card(std::shared_ptr<Host> host);
    void Initialize();
    void ModuleType(int32_t value);
    void ModuleName(const std::string& value);

    std::shared_ptr<Host> host_;
    int32_t moduleType_ = 0;
    std::string moduleName_;
    int16_t moduleNumber_ = 0;
    int16_t startChannel_ = 0;
    bool changed_ = false;
    std::string filePath_;
    std::shared_ptr<IRegistry> registry_;
    std::weak_ptr<CVesk4710> baseUnit_;
    std::vector<std::shared_ptr<CVesk4710Channel>> channels_;
};

}  // namespace vesk
