#include "vesk4710/channel/ChannelEditDialog.h"

#include <utility>

#include "vesk4710/channel/CVesk4710Channel.h"

namespace vesk {

namespace {
ChannelEditDialog::Factory& FactorySlot() {
    static ChannelEditDialog::Factory factory;
    return factory;
}
}  // namespace

ChannelEditDialog::ChannelEditDialog(std::shared_ptr<CVesk4710Channel> channel)
    : channel_(std::move(channel)) {}

ChannelEditDialog::~ChannelEditDialog() = default;

std::string ChannelEditDialog::DialogName() const {
    return "frm4710Channel";
}

ChannelEditDialog::Factory ChannelEditDialog::SetFactory(Factory factory) {
    return std::exchange(FactorySlot(), std::move(factory));
}

std::unique_ptr<ChannelEditDialog> ChannelEditDialog::Make(
    std::shared_ptr<CVesk4710Channel> channel) {
    if (const auto& factory = FactorySlot()) {
        if (auto dialog = factory(channel)) {
            return dialog;
        }
    }
    return std::make_unique<ChannelEditDialog>(std::move(channel));
}

}  // namespace vesk
