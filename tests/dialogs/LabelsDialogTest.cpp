#include <gtest/gtest.h>

#include "tests/dialogs/DialogTestSupport.h"
#include "vesk4710/dialogs/LabelsDialog.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class LabelsDialogTest : public DialogTest<LabelsDialog> {
  protected:
    void SetUp() override {
        DialogTest::SetUp();
        Create(instrument, &form, &lblLabelName, &txtLabelName, &cmdReset, &cmdOK, &cmdCancel,
               &cmdHelp);
    }

    void Open(const std::string& label) {
        comm().Reply(SET_LOGGING_LABEL_READ, label);
        dialog->Activate();
    }

    // An edit as the binding reports it.
    void Edit(const std::string& text) {
        txtLabelName.Text(text);
        dialog->txtLabelName_Change();
    }

    int16_t Filtered(int16_t key) {
        dialog->txtLabelName_KeyPress(key);
        return key;
    }

    size_t LabelWrites() const {
        const auto writes = Writes();
        return static_cast<size_t>(
            std::count(writes.begin(), writes.end(), int32_t{SET_LOGGING_LABEL_WRITE}));
    }

    FakeForm form;
    FakeLabel lblLabelName;
    FakeTextBox txtLabelName;
    FakeButton cmdReset, cmdOK, cmdCancel, cmdHelp;
};

TEST_F(LabelsDialogTest, FirstActivationReadsTheLabelOnceAndSelectsIt) {
    EXPECT_EQ(form.caption, "4710 Logging Label");

    Open("RUN 7");
    EXPECT_EQ(txtLabelName.text, "RUN 7");
    EXPECT_EQ(txtLabelName.selStart, 0);
    EXPECT_EQ(txtLabelName.selLength, 5);
    EXPECT_FALSE(dialog->Changed()) << "the label read is not an edit";
    EXPECT_EQ(ui().progressLog,
              (std::vector<std::string>{"SetOwner", "Status Reading logging label... 4", "Close"}));
    EXPECT_EQ(ui().pointers, (std::vector<int32_t>{kPointerHourglass, kPointerDefault}));

    dialog->Activate();
    EXPECT_EQ(comm().Requests(), (std::vector<std::string>{Read(SET_LOGGING_LABEL_READ)}));
    EXPECT_TRUE(cmdOK.enabled);
}

TEST_F(LabelsDialogTest, CancelledReadDisablesEverythingButCancelAndHelp) {
    ui().cancelAtStep = 0;
    Open("RUN 7");
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{LoadResString(kResLabelReadAborted)}));
    EXPECT_EQ(ui().progressLog.back(), "Close");
    EXPECT_FALSE(txtLabelName.enabled);
    EXPECT_FALSE(cmdOK.enabled);
    EXPECT_TRUE(cmdCancel.enabled);
    EXPECT_TRUE(cmdHelp.enabled);
    EXPECT_EQ(ui().pointer, kPointerDefault);
}

TEST_F(LabelsDialogTest, TypingUpperCasesRefusesPunctuationAndKeepsToTheInstrumentsLength) {
    Open("");
    EXPECT_EQ(Filtered('a'), 'A');
    EXPECT_EQ(Filtered('z'), 'Z');
    for (char kept : std::string("Q09 _")) {
        EXPECT_EQ(Filtered(kept), kept) << kept;
    }
    for (char refused : std::string("-.,;:/\\!?*+=@#$%&()[]{}'\"~`^|<>")) {
        EXPECT_EQ(Filtered(static_cast<int16_t>(refused)), 0) << refused;
    }
    for (int16_t control : {8, 3, 22, 24, 26}) {
        EXPECT_EQ(Filtered(control), control);
    }

    // Spaces are trimmed when the box is left, not while typing.
    Edit(" A ");
    EXPECT_EQ(txtLabelName.text, " A ") << "not trimmed while typing";
    bool cancel = false;
    dialog->txtLabelName_Validate(cancel);
    EXPECT_FALSE(cancel);
    EXPECT_EQ(txtLabelName.text, "A");

    txtLabelName.Text("ABCDEFGH");
    txtLabelName.SelStart(8);
    txtLabelName.SelLength(0);
    EXPECT_EQ(Filtered('X'), 0) << "a ninth character does not fit";
    EXPECT_EQ(Filtered(8), 8) << "backspace still works";
    txtLabelName.SelStart(0);
    txtLabelName.SelLength(8);
    EXPECT_EQ(Filtered('x'), 'X') << "typing over the selection fits";
}

TEST_F(LabelsDialogTest, OKWithoutChangeOrCancelWriteNothingButResetWritesDemand) {
    Open("DEMAND");
    OK();
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{LoadResString(kResLabelNotChanged)}));
    EXPECT_EQ(ui().boxes[0].style, kMbInformation);
    EXPECT_EQ(hides, 1);

    Edit("X");
    Click(kCmdHelp);
    ASSERT_EQ(ui().helpCalls.size(), 1U);
    EXPECT_EQ(ui().helpCalls[0].topic, 10330);
    EXPECT_EQ(hides, 1);
    Click(kCmdCancel);
    EXPECT_EQ(hides, 2);
    EXPECT_EQ(LabelWrites(), 0U);

    ui().boxes.clear();
    dialog->cmdReset_Click();
    EXPECT_EQ(txtLabelName.selLength, 6);
    ui().progressLog.clear();
    OK();
    EXPECT_EQ(LabelWrites(), 1U);
    EXPECT_TRUE(Logged("Value=DEMAND"));
    EXPECT_EQ(ui().progressLog, (std::vector<std::string>{
                                    "SetOwner", "Status Writing logging label... 100", "Close"}));
    EXPECT_GE(ui().ticks, 250) << "the write waits 250 ms for the instrument";
    EXPECT_EQ(hides, 3);
    EXPECT_TRUE(ui().boxes.empty());

    dialog->Unload();
    EXPECT_EQ(host->registry->forms.count("frm4710Labels"), 1U);
    EXPECT_EQ(dialog->Instrument(), nullptr);
}

TEST_F(LabelsDialogTest, CancelledOrFailedWriteKeepsTheDialogAndTheTypedLabelForTheNextTry) {
    Open("DEMAND");
    Edit("BATH_2");
    ui().cancelAtStep = ui().progressChecks;
    OK();
    EXPECT_EQ(LabelWrites(), 1U);
    EXPECT_EQ(hides, 0);

    ui().cancelAtStep = -1;
    comm().Fail(SET_LOGGING_LABEL_WRITE, AutomationError(-2147220989, "Link dropped"));
    OK();
    ASSERT_EQ(ui().boxes.size(), 1U);
    EXPECT_NE(ui().boxes[0].prompt.find("attempting to write logging label"), std::string::npos);
    EXPECT_EQ(hides, 0);
    EXPECT_EQ(ui().progressLog.back(), "Close");

    OK();
    EXPECT_EQ(LabelWrites(), 3U);
    EXPECT_TRUE(Logged("Value=BATH_2"));
    EXPECT_EQ(hides, 1) << "a try once the link is back closes the dialog";
}

}  // namespace
}  // namespace vesk::test
