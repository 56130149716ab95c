#include "simulated/registry/Redirection.h"

#include <map>

#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

constexpr std::u16string_view kRedirectedNode = u"Wow6432Node";

enum class Treatment { Inherited, Redirected, Shared };

/** What is known of a key's path: how it is treated, and what is known below. */
struct Rule {
  struct Less {
    using is_transparent = void;
    bool operator()(std::u16string_view left, std::u16string_view right) const {
      return CompareNames(left, right) < 0;
    }
  };

  const Rule* Below(std::u16string_view name) const {
    if (each) return each;
    const auto found = below.find(name);
    return found == below.end() ? nullptr : &found->second;
  }

  Rule& At(std::u16string_view path) {
    Rule* rule = this;
    for (auto name = TakeName(path); !name.empty(); name = TakeName(path))
      rule = &rule->below[std::u16string(name)];
    return *rule;
  }

  Treatment treatment = Treatment::Inherited;
  /** Holds a Wow6432Node, to which what is redirected below it goes. */
  bool holdsNode = false;
  std::map<std::u16string, Rule, Less> below;
  /** What holds for every key below, whatever its name. */
  const Rule* each = nullptr;
};

constexpr std::u16string_view kRedirectedClasses[] = {u"CLSID", u"DirectShow", u"Interface", u"Media Type",
                                                      u"MediaFoundation"};

constexpr std::u16string_view kSharedSoftware[] = {
    u"Clients",
    u"Microsoft\\COM3",
    u"Microsoft\\Cryptography\\Calais\\Current",
    u"Microsoft\\Cryptography\\Calais\\Readers",
    u"Microsoft\\Cryptography\\Services",
    u"Microsoft\\CTF\\SystemShared",
    u"Microsoft\\CTF\\TIP",
    u"Microsoft\\DFS",
    u"Microsoft\\Driver Signing",
    u"Microsoft\\EnterpriseCertificates",
    u"Microsoft\\EventSystem",
    u"Microsoft\\MSMQ",
    u"Microsoft\\Non-Driver Signing",
    u"Microsoft\\Notepad\\DefaultFonts",
    u"Microsoft\\OLE",
    u"Microsoft\\RAS",
    u"Microsoft\\RPC",
    u"Microsoft\\Shared Tools\\MSInfo",
    u"Microsoft\\SystemCertificates",
    u"Microsoft\\TermServLicensing",
    u"Microsoft\\Transaction Server",
    u"Microsoft\\Windows\\CurrentVersion\\App Paths",
    u"Microsoft\\Windows\\CurrentVersion\\Control Panel\\Cursors\\Schemes",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\AutoplayHandlers",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\DriveIcons",
    u"Microsoft\\Windows\\CurrentVersion\\Explorer\\KindMap",
    u"Microsoft\\Windows\\CurrentVersion\\Group Policy",
    u"Microsoft\\Windows\\CurrentVersion\\Policies",
    u"Microsoft\\Windows\\CurrentVersion\\PreviewHandlers",
    u"Microsoft\\Windows\\CurrentVersion\\Setup",
    u"Microsoft\\Windows\\CurrentVersion\\Telephony\\Locations",
    u"Microsoft\\Windows NT\\CurrentVersion\\Console",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontDpi",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontLink",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontMapper",
    u"Microsoft\\Windows NT\\CurrentVersion\\Fonts",
    u"Microsoft\\Windows NT\\CurrentVersion\\FontSubstitutes",
    u"Microsoft\\Windows NT\\CurrentVersion\\Gre_Initialize",
    u"Microsoft\\Windows NT\\CurrentVersion\\Image File Execution Options",
    u"Microsoft\\Windows NT\\CurrentVersion\\LanguagePack",
    u"Microsoft\\Windows NT\\CurrentVersion\\NetworkCards",
    u"Microsoft\\Windows NT\\CurrentVersion\\Perflib",
    u"Microsoft\\Windows NT\\CurrentVersion\\Ports",
    u"Microsoft\\Windows NT\\CurrentVersion\\Print",
    u"Microsoft\\Windows NT\\CurrentVersion\\ProfileList",
    u"Microsoft\\Windows NT\\CurrentVersion\\Time Zones",
    u"Policies",
    u"RegisteredApplications",
};

void AddClasses(Rule& software) {
  Rule& classes = software.At(u"Classes");
  classes.treatment = Treatment::Shared;
  classes.holdsNode = true;
  for (const auto name : kRedirectedClasses) classes.At(name).treatment = Treatment::Redirected;
}

const Rule& MachineRules() {
  static const Rule& rules = *[] {
    auto* machine = new Rule;
    Rule& software = machine->At(u"SOFTWARE");
    software.treatment = Treatment::Redirected;
    software.holdsNode = true;
    for (const auto path : kSharedSoftware) software.At(path).treatment = Treatment::Shared;
    AddClasses(software);
    return machine;
  }();
  return rules;
}

const Rule& UsersRules() {
  static const Rule& rules = *[] {
    auto* user = new Rule;
    AddClasses(user->At(u"Software"));
    auto* users = new Rule;
    users->each = user;
    return users;
  }();
  return rules;
}

/** A walk down the registry that follows a path in both views at once; either may run out of keys. */
class Walk {
 public:
  Walk(Key& root, const Rule* rule) : wide_(&root), narrow_(&root), rule_(rule) {}

  void Enter(std::u16string_view name) {
    if (rule_ && rule_->holdsNode && SameName(name, kRedirectedNode)) return EnterNode();
    const Rule* next = rule_ ? rule_->Below(name) : nullptr;
    Key* holder = wide_;
    wide_ = Below(wide_, name);
    switch (next ? next->treatment : Treatment::Inherited) {
      case Treatment::Inherited:
        narrow_ = Below(narrow_, name);
        break;
      case Treatment::Shared:
        narrow_ = wide_;
        break;
      case Treatment::Redirected:
        narrow_ =
            next->holdsNode ? Below(wide_, kRedirectedNode) : Below(Below(holder, kRedirectedNode), name);
    }
    rule_ = next;
  }

  Key* Found() const { return narrow_; }

 private:
  static Key* Below(Key* key, std::u16string_view name) { return key ? key->FindSubKey(name) : nullptr; }

  void EnterNode() {
    narrow_ = Below(wide_, kRedirectedNode);
    // Below the software node the shared keys are still those of both views; a classes node is plain.
    if (rule_->treatment != Treatment::Redirected) {
      wide_ = narrow_;
      rule_ = nullptr;
    }
  }

  Key* wide_;
  Key* narrow_;
  const Rule* rule_;
};

/** The keys from `key`, which comes first, up to its predefined key. */
std::vector<Key*> ChainOf(Key& key) {
  std::vector<Key*> chain;
  chain.reserve(16);
  for (Key* above = &key; above->Parent(); above = above->Parent()) chain.push_back(above);
  return chain;
}

/** Whether both views are known to be the same below a key, or the key to stand in the 32-bit view alone. */
bool IsSettled(const std::vector<Key*>& chain, const Rule* rule) {
  bool settled = true;
  for (auto key = chain.rbegin() + 1; key != chain.rend() && rule; ++key) {
    if (rule->holdsNode && SameName((*key)->Name(), kRedirectedNode)) {
      settled = true;
      if (rule->treatment != Treatment::Redirected) return true;
      continue;
    }
    rule = rule->Below((*key)->Name());
    if (rule && rule->treatment != Treatment::Inherited) settled = rule->treatment == Treatment::Shared;
  }
  return settled && !rule;
}

}  // namespace

Key* FindIn32BitView(Key& start, std::u16string_view path) {
  const std::vector<Key*> chain = ChainOf(start);
  Key& root = *chain.back();
  const Rule& rules = SameName(root.Name(), u"HKEY_LOCAL_MACHINE") ? MachineRules() : UsersRules();
  // Most keys are opened from one that no rule reaches below: then there is nothing to follow from the root.
  if (IsSettled(chain, &rules)) return FindBelow(start, path);
  Walk walk(root, &rules);
  for (auto key = chain.rbegin() + 1; key != chain.rend(); ++key) walk.Enter((*key)->Name());
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path)) walk.Enter(name);
  return walk.Found();
}

}  // namespace simulated
