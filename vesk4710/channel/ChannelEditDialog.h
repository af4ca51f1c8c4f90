#pragma once
// The logic behind the channel settings dialog that Edit opens. The dialog logic proper
// installs a factory making its own subclass; without one Edit shows this bare logic.
#include <functional>
#include <memory>
#include <string>

#include "vesk4710/platform/IRegistry.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk {

class CVesk4710Channel;

class ChannelEditDialog : public IDialogLogic {
  public:
    explicit ChannelEditDialog(std::shared_ptr<CVesk4710Channel> channel);
    ~ChannelEditDialog() override;

    std::string DialogName() const override;

    const std::shared_ptr<CVesk4710Channel>& Channel() const { return channel_; }
    const std::string& Caption() const { return caption_; }
    void Caption(const std::string& caption) { caption_ = caption; }
    // Where the dialog keeps its stored settings (may be empty).
    const std::shared_ptr<IRegistry>& Registry() const { return registry_; }
    void Registry(std::shared_ptr<IRegistry> registry) { registry_ = std::move(registry); }

    using Factory =
        std::function<std::unique_ptr<ChannelEditDialog>(std::shared_ptr<CVesk4710Channel>)>;
    // Process-wide; an empty factory restores the bare logic. Returns the one it replaces.
    static Factory SetFactory(Factory factory);
    static std::unique_ptr<ChannelEditDialog> Make(std::shared_ptr<CVesk4710Channel> channel);

  private:
    std::shared_ptr<CVesk4710Channel> channel_;
    std::string caption_;
    std::shared_ptr<IRegistry> registry_;
};

}  // namespace vesk
