#pragma once
// An output file that records what a dialog asks of it instead of starting a viewer or printer.
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vesk4710/platform/IOutputFile.h"

namespace vesk::test {

class RecordingOutputFile : public IOutputFile {
  public:
    RecordingOutputFile(std::string folder, std::string name)
        : folder_(std::move(folder)), name_(std::move(name)) {}
    void SetRegistry(std::shared_ptr<IRegistry> r) override { registry_ = std::move(r); }
    std::shared_ptr<IRegistry> Registry() const override { return registry_; }
    void Create(const OutputFileSpec&) override {}
    void WriteReading(const std::vector<std::string_view>&) override {}
    void WriteComment(std::string_view) override {}
    void Close() override {}
    std::string Folder() const override { return folder_; }
    std::string FileName() const override { return name_; }
    void View(bool flag) override {
        calls.push_back(std::string("View ") + (flag ? "true" : "false"));
    }
    void Print(bool selectPrinter) override {
        calls.push_back(std::string("Print ") + (selectPrinter ? "true" : "false"));
    }

    std::vector<std::string> calls;

  private:
    std::string folder_, name_;
    std::shared_ptr<IRegistry> registry_;
};

}  // namespace vesk::test
