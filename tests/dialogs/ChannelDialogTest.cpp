#include <gtest/gtest.h>

#include <map>

#include "tests/dialogs/DialogTestSupport.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/dialogs/ChannelDialog.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class ChannelDialogTest : public DialogTest<ChannelDialog> {
  protected:
    void SetUp() override {
        DialogTest::SetUp();
        ScriptInstrument();
    }

    // Reads the instrument with channel 1 on the conversion `code` with the named parameters,
    // and opens its dialog.
    void OpenChannel(const std::string& code, std::map<std::string, std::string> params) {
        comm().ReplyAlways(SET_PROBE_SERIAL_READ, "S1001");
        comm().ReplyAlways(SET_CONVERSION_READ, code);
        comm().ReplyAlways(SET_PROBE_CAL_DATE_READ, "2023,11,2");
        comm().ReplyAlways(SET_RESOLUTION_READ, "3");
        comm().ReplyAlways(SET_PROBE_LOCK_READ, "0");
        comm().responder =
            [params](int32_t id,
                     const std::map<std::string, std::string>& p) -> std::optional<std::string> {
            if (id != SET_PARAMETER_READ) {
                return std::nullopt;
            }
            const auto it = params.find(p.count("paramname") ? p.at("paramname") : "");
            return it == params.end() ? std::string("0") : it->second;
        };
        ASSERT_TRUE(instrument->QueryInfo());
        channel = instrument->GetChannelReference(1);
        ASSERT_NE(channel, nullptr);
        Create(channel, &form, &lblProbeSerial, &txtProbeSerial, &lblProbeType, &cboProbeType,
               &lblConversionType, &cboConversionType, &lblTCType, &cboTCType, &lblCoefficients,
               &vsfgCoefficients, &lblCalDate, &dtpCalDate, &lblResolution, &cboResolution,
               &lblRJCType, &cboRJCType, &lblRJCTemperature, &txtRJCTemperature, &chkProbeLock,
               &lblMINOP, &txtMINOP, &lblMAXOP, &txtMAXOP, &cmdUnlock, &cmdOK, &cmdCancel,
               &cmdHelp);
        Open();
    }

    void OpenPrt() {
        OpenChannel("ITS", {{"RTPW", "25.54321"}, {"MINOP", "-200"}, {"MAXOP", "660"}});
    }

    std::vector<std::string> Names() const {
        std::vector<std::string> names;
        for (int32_t row = 1; row < vsfgCoefficients.Rows(); ++row) {
            names.push_back(vsfgCoefficients.TextMatrix(row, 0));
        }
        return names;
    }

    std::shared_ptr<CVesk4710Channel> channel;
    FakeForm form;
    FakeLabel lblProbeSerial, lblProbeType, lblConversionType, lblTCType, lblCoefficients,
        lblCalDate, lblResolution, lblRJCType, lblRJCTemperature, lblMINOP, lblMAXOP;
    FakeTextBox txtProbeSerial, dtpCalDate, txtRJCTemperature, txtMINOP, txtMAXOP;
    FakeList cboProbeType, cboConversionType, cboTCType, cboResolution, cboRJCType;
    FakeGrid vsfgCoefficients;
    FakeCheckBox chkProbeLock;
    FakeButton cmdUnlock, cmdOK, cmdCancel, cmdHelp;
};

TEST_F(ChannelDialogTest, ActivationShowsTheChannelAsReadAndANewSerialNeedsThePasscode) {
    OpenPrt();
    EXPECT_EQ(txtProbeSerial.text, "S1001");
    EXPECT_EQ(cboProbeType.Texts(), (std::vector<std::string>{"PRT", "Thermistor"}));
    EXPECT_EQ(Names(), (std::vector<std::string>{"RTPW", "A4", "B4", "High A", "High B", "High C",
                                                 "High D"}));
    EXPECT_EQ(vsfgCoefficients.TextMatrix(1, 1), L("25.54321"));
    EXPECT_EQ(dtpCalDate.text, "2023-11-02");
    EXPECT_EQ(cboResolution.ItemData(cboResolution.ListIndex()), 3);
    EXPECT_EQ(txtMINOP.text, "-200");
    EXPECT_EQ(txtMAXOP.text, "660");
    EXPECT_FALSE(cboRJCType.enabled) << "no reference junction for a PRT";
    // Protected conversion stays shut; the serial may be typed but asks for the passcode.
    EXPECT_FALSE(cboConversionType.enabled);
    EXPECT_FALSE(vsfgCoefficients.Enabled());
    EXPECT_TRUE(cmdUnlock.enabled);
    EXPECT_FALSE(channel->Changed()) << "what was read is not an edit";

    txtProbeSerial.Text("");
    for (char ch : std::string("pt-_ 17")) {
        int16_t key = static_cast<unsigned char>(ch);
        dialog->txtProbeSerial_KeyPress(key);
        if (key != 0) {
            txtProbeSerial.Text(txtProbeSerial.text + static_cast<char>(key));
        }
    }
    EXPECT_EQ(txtProbeSerial.text, "PT-17") << "upper case; no underscore or space";

    OK();  // the prompt is cancelled: nothing is written, the dialog stays
    EXPECT_EQ(ui().Prompts().back(),
              "Writing the probe serial number of channel 1 needs the instrument's passcode.");
    EXPECT_EQ(ui().passcodePrompts, 1);
    EXPECT_TRUE(Writes().empty());
    EXPECT_EQ(hides, 0);

    ui().passcodes.push_back({"1234", true});
    comm().Reply(SET_PASSCODE_STATE, "1");
    OK();
    EXPECT_TRUE(Logged("Value=PT-17"));
    EXPECT_EQ(Writes(), (std::vector<int32_t>{SET_PASSCODE, SET_PASSCODE_LOCK, SET_PASSCODE,
                                              SET_PROBE_SERIAL_WRITE, SET_PASSCODE_LOCK}))
        << "the passcode checked, then the serial number alone under it";
    EXPECT_EQ(hides, 1);
}

TEST_F(ChannelDialogTest, ChangingTheConversionAndCancellingPutsTheProbeBack) {
    OpenPrt();
    ui().passcodes.push_back({"1234", true});
    comm().Reply(SET_PASSCODE_STATE, "1");
    dialog->cmdUnlock_Click();
    EXPECT_TRUE(cboConversionType.enabled);
    SelectListItemByData(cboConversionType, 2);
    dialog->cboConversionType_Click();
    EXPECT_EQ(Names(), (std::vector<std::string>{"R0", "A", "B", "C"}));
    EXPECT_EQ(channel->Probe()->ConversionType(), 2);

    SelectListItemByData(cboProbeType, 1);
    dialog->cboProbeType_Click();
    EXPECT_EQ(cboConversionType.Texts(), (std::vector<std::string>{"R(T)", "Ohms"}));
    EXPECT_EQ(channel->Probe()->ConversionType(), 6) << "the family's first conversion";
    EXPECT_EQ(Names(), (std::vector<std::string>{"B0", "B1", "B2", "B3"}));

    Click(kCmdCancel);
    EXPECT_TRUE(dialog->Cancelled());
    EXPECT_EQ(channel->Probe()->ConversionType(), 0);
    EXPECT_DOUBLE_EQ(channel->Probe()->ActiveConversion().RTPW(), 25.54321);
    EXPECT_FALSE(channel->Changed());
    EXPECT_EQ(Writes(), (std::vector<int32_t>{SET_PASSCODE, SET_PASSCODE_LOCK}));
}

TEST_F(ChannelDialogTest, EntriesOutsideTheirLimitsAreRefusedAndUnprotectedOnesWrittenAlone) {
    OpenPrt();
    const struct {
        FakeTextBox& box;
        const char* bad;
        const char* message;
    } refusals[] = {
        {txtMINOP, "12.5", "MINOP must be a whole number from -32768 to 32767."},
        {txtMINOP, "40000", "MINOP must be a whole number from -32768 to 32767."},
        {txtProbeSerial, "ABCDEFGHI",
         "The probe serial number can not be longer than 8 characters."},
        {txtProbeSerial, "AB_1", "The probe serial number may hold letters, digits and '-' only."},
        {dtpCalDate, "2023-13-01", "The calibration date is not a valid date."}};
    for (const auto& r : refusals) {
        const std::string before = r.box.text;
        ui().boxes.clear();
        r.box.Text(r.bad);
        OK();
        EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{r.message}));
        r.box.Text(before);
    }

    // Changes needing no passcode are written alone.
    ui().boxes.clear();
    SelectListItemByData(cboResolution, -1);
    chkProbeLock.Value(1);
    txtMAXOP.Text("700");
    OK();
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{LoadResString(kResWriteChannelChanges)}));
    EXPECT_EQ(ui().passcodePrompts, 0);
    EXPECT_EQ(Writes(),
              (std::vector<int32_t>{SET_RESOLUTION, SET_PARAMETER_WRITE, SET_PROBE_LOCK_WRITE}))
        << "in the instrument's order";
    EXPECT_TRUE(Logged("Value=3")) << "automatic resolution is written as 3";
    EXPECT_TRUE(Logged("paramname=MAXOP"));
    EXPECT_EQ(hides, 1);
    EXPECT_FALSE(channel->Changed());

    std::string text = "1e";
    vsfgCoefficients.Enabled(true);
    EXPECT_FALSE(dialog->vsfgCoefficients_ValidateEdit(1, 1, text));
    EXPECT_EQ(ui().Prompts().back(), "The coefficient RTPW must be a number.");
    text = L("1.5E-3");
    EXPECT_TRUE(dialog->vsfgCoefficients_ValidateEdit(1, 1, text));
    EXPECT_FALSE(dialog->vsfgCoefficients_ValidateEdit(1, 0, text)) << "names are fixed";
}

TEST_F(ChannelDialogTest, ThermocoupleJunctionAndUnprotectedConversionNeedNoPasscode) {
    comm().ReplyAlways(SET_CONV_PROTECTION, "0");
    OpenChannel("K", {{"C0", "0.0012"}, {"RJTYPE", "0"}, {"RJTEMP", "21.5"}});
    EXPECT_EQ(cboTCType.List(cboTCType.ListIndex()), "K");
    EXPECT_TRUE(cboTCType.enabled) << "conversion is not protected here";
    EXPECT_EQ(cboRJCType.ItemData(cboRJCType.ListIndex()), RJC_EXTERNAL);
    EXPECT_TRUE(txtRJCTemperature.enabled);
    EXPECT_EQ(txtRJCTemperature.text, L("21.500"));

    txtRJCTemperature.Text("55");
    OK();
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{
                                  "The reference junction temperature must be a number from -10 "
                                  "to 50."}));
    SelectListItemByData(cboRJCType, RJC_INTERNAL);
    dialog->cboRJCType_Click();
    EXPECT_FALSE(txtRJCTemperature.enabled) << "an internal junction measures itself";
    std::string value = "0.0015";
    ASSERT_TRUE(dialog->vsfgCoefficients_ValidateEdit(1, 1, value));
    vsfgCoefficients.TextMatrix(1, 1, value);

    ui().boxes.clear();
    OK();
    EXPECT_EQ(ui().passcodePrompts, 0);
    EXPECT_EQ(Writes(), std::vector<int32_t>(5, SET_PARAMETER_WRITE))
        << "the junction type and the coefficients, no serial number or passcode";
    EXPECT_TRUE(Logged("paramname=RJTYPE"));
    EXPECT_TRUE(Logged("paramname=C0"));
    EXPECT_EQ(hides, 1);
}

}  // namespace
}  // namespace vesk::test
