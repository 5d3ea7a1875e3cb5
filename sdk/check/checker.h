// Goes through the functions of a library, prints what they yield and gathers what is wrong.
#pragma once

#include <map>
#include <set>

#include "apart.h"
#include "values.h"

namespace sdk_check {

class Checker {
  public:
    explicit Checker(const Library& library) : library_(library) {}

    /// Prints where the library is and what it lacks. False when it cannot be loaded.
    bool Survey();
    /// Calls all getters.
    void ReadAll();
    /// Sets what the getters gave and reads it again.
    void SetAll();
    /// Prints what was found. The exit status: 0 nothing, 1 something looks wrong, 2 something is broken.
    int Conclude();

  private:
    struct Finding {
        std::string label;
        std::string what;
    };

    /// A key that a function is asked by.
    struct Asked {
        std::string words;  // behind the function's name: "(1)"
        Arguments arguments{};
    };

    std::vector<Asked> KeysOf(Key key) const;
    bool Callable(const Function& function) const;
    void Read(const Function& function, const Asked& asked);
    void TryUnknown(const Function& function);
    std::string Ending(const Outcome& outcome) const;
    bool CameBack(const Function& function, const Outcome& outcome);
    void Failed(const Function& function, const Outcome& outcome);
    std::vector<Bytes> Records(const Function& function, const Outcome& outcome);
    std::vector<Bytes> Wlans(const Outcome& outcome);
    void JudgeExtent(const Function& function, const Outcome& outcome, std::size_t due, std::size_t count);
    void JudgeRecords(const Function& function, const Asked& asked, const std::vector<Bytes>& records);
    void JudgeAgainstOthers(const Function& function, const Asked& asked, Bytes record);
    void Learn(const Function& function, std::vector<Bytes> records, bool sound);
    void Set(const Function& setter, const Asked& asked);
    void NotTried(const std::string& what, const std::string& why);

    void Begin(const std::string& label);
    void PrintRecord(const std::string& place, const Texts& words);
    void Broken(const std::string& what);
    void Wrong(const std::string& what);
    void Note(const char* mark, const std::string& what, std::vector<Finding>& findings);
    void PrintFindings(const char* title, const std::vector<Finding>& findings);

    const Library& library_;
    std::set<std::string> unusable_;                         // functions that are missing or broke
    std::map<std::string, std::vector<std::uint8_t>> good_;  // values without a fault, by label
    Home home_;
    std::vector<std::uint16_t> wans_, ports_, ssids_;
    std::vector<std::vector<std::uint8_t>> devices_;  // their MACs
    std::string label_;                               // of the call that is looked at
    bool open_ = false;                               // nothing follows the label on its line yet
    int noted_ = 0;                                   // findings about the call
    std::vector<Finding> broken_, wrong_, untried_;
};

}  // namespace sdk_check
