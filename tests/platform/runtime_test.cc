#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/runtime/runtime.h"
#include "platform/ui/hosting_controller.h"
#include "platform/ui/tab_bar_controller.h"

// A host's own classes that happen to bear the names of toolkit classes.
class TabBarController : public obx::platform::ViewController {
 public:
  char extra = 'h';
};
class HostingController : public obx::platform::ViewController {};

namespace obx::platform {
namespace {

// A small hierarchy standing for platform classes: Base declares `greet:`, Derived inherits it.
class Base : public Object {
 public:
  static Class* runtimeClass() {
    static Class* const cls = [] {
      Class* c = registerClass("RuntimeTestBase", Object::runtimeClass(), typeid(Base));
      c->addMethod("greet:", implementationOf(&Base::greetBody));
      c->addMethod("count", implementationOf(&Base::countBody));
      return c;
    }();
    return cls;
  }
  Base() { setDeclaredClass(runtimeClass()); }
  std::string greet(const std::string& who) { return sendMessage<std::string(const std::string&)>(*this, "greet:", who); }
  std::vector<std::string> calls;

 protected:
  virtual std::string greetBody(const std::string& who) {
    calls.push_back("Base:" + who);
    return "hello " + who;
  }
  int countBody() { return static_cast<int>(calls.size()); }
};

class Derived : public Base {
 protected:
  std::string greetBody(const std::string& who) override {
    calls.push_back("Derived:" + who);
    return Base::greetBody(who);
  }
};

namespace host {
class Screen : public Derived {};
}  // namespace host

using GreetSignature = std::string(Object&, const std::string&);

// A replacement installed on the superclass's method sees calls on subclass instances, calls through
// to the original, and after restoring the original no call reaches the replacement any more.
TEST(RuntimeTest, ReplacementOnSuperclassSeesSubclassCallsAndRestores) {
  Method* method = Base::runtimeClass()->instanceMethod("greet:");
  ASSERT_NE(method, nullptr);
  std::vector<std::string> seen;
  IMP original = methodGetImplementation(method);
  IMP previous = methodSetImplementation(
      method, Implementation::make<GreetSignature>([&seen, original](Object& self, const std::string& who) {
        std::string answer = (*original->as<GreetSignature>())(self, who);
        seen.push_back(stringFromClass(self.getClass()) + "/" + answer);
        return answer;
      }));
  EXPECT_EQ(previous, original);

  auto base = std::make_shared<Base>();
  auto derived = std::make_shared<Derived>();
  auto screen = std::make_shared<host::Screen>();
  EXPECT_EQ(base->greet("a"), "hello a");
  EXPECT_EQ(derived->greet("b"), "hello b");
  EXPECT_EQ(screen->greet("c"), "hello c");
  const std::string anonymous = "obx.platform.(anonymous namespace).";
  EXPECT_EQ(seen, (std::vector<std::string>{"RuntimeTestBase/hello a", anonymous + "Derived/hello b",
                                            anonymous + "host.Screen/hello c"}));
  // The override ran inside the original: calling through reached the most derived body.
  EXPECT_EQ(screen->calls, (std::vector<std::string>{"Derived:c", "Base:c"}));

  methodSetImplementation(method, original);
  EXPECT_EQ(derived->greet("d"), "hello d");
  EXPECT_EQ(seen.size(), 3u);
}

// Classes of host subclasses are made on first use, with the platform class as superclass, found by
// name, and a method list holds only a class's own methods. A message with an unknown selector or a
// mismatched signature does nothing and answers a default. Descriptions name the run-time class and
// differ between two live objects of one class.
TEST(RuntimeTest, ClassLookupAndMethodLists) {
  auto screen = std::make_shared<host::Screen>();
  Class* cls = screen->getClass();
  ASSERT_NE(cls, nullptr);
  EXPECT_EQ(cls->superclass(), Base::runtimeClass());
  EXPECT_EQ(classFromString(cls->name()), cls);
  EXPECT_EQ(classFromString("RuntimeTestBase"), Base::runtimeClass());
  EXPECT_EQ(classFromString("NoSuchClass"), nullptr);
  EXPECT_TRUE(screen->isKindOfClass(Base::runtimeClass()));
  EXPECT_TRUE(screen->isKindOfClass(Object::runtimeClass()));
  EXPECT_FALSE(std::make_shared<Base>()->isKindOfClass(cls));

  EXPECT_TRUE(classCopyMethodList(cls).empty());
  std::vector<std::string> names;
  for (Method* method : classCopyMethodList(Base::runtimeClass())) names.push_back(methodGetName(method));
  EXPECT_EQ(names, (std::vector<std::string>{"greet:", "count"}));
  EXPECT_EQ(cls->instanceMethod("count"), Base::runtimeClass()->instanceMethod("count"));
  EXPECT_EQ(Base::runtimeClass()->addMethod("count", nullptr), nullptr);

  auto base = std::make_shared<Base>();
  EXPECT_EQ((sendMessage<int()>(*base, "nothing")), 0);
  EXPECT_EQ((sendMessage<double()>(*base, "count")), 0.0);
  base->greet("x");
  EXPECT_EQ((sendMessage<int()>(*base, "count")), 1);

  auto other = std::make_shared<host::Screen>();
  const std::string anonymous = "<obx.platform.(anonymous namespace).host.Screen: 0x";
  EXPECT_EQ(screen->description().rfind(anonymous, 0), 0u) << screen->description();
  EXPECT_NE(screen->description(), other->description());
  EXPECT_EQ(screen->description(), screen->description());
}

// Associated objects are kept per instance under their key, replaced, and removed by an empty value.
TEST(RuntimeTest, AssociatedObjects) {
  static const char kName = 0;
  static const char kFlag = 0;
  auto a = std::make_shared<Base>();
  auto b = std::make_shared<Base>();
  setAssociatedObject(*a, &kName, std::string("Home"), AssociationPolicy::copyNonatomic);
  a->setAssociatedObject(&kFlag, true, AssociationPolicy::retainNonatomic);
  EXPECT_EQ(a->associatedValue<std::string>(&kName), "Home");
  EXPECT_EQ(a->associatedValue<bool>(&kFlag), true);
  EXPECT_FALSE(b->associatedValue<std::string>(&kName).has_value());
  EXPECT_FALSE(a->associatedValue<int>(&kName).has_value());
  a->setAssociatedObject(&kName, std::string("Cart"), AssociationPolicy::copyNonatomic);
  EXPECT_EQ(a->associatedValue<std::string>(&kName), "Cart");
  a->setAssociatedObject(&kName, std::any(), AssociationPolicy::copyNonatomic);
  EXPECT_FALSE(getAssociatedObject(*a, &kName).has_value());
}

// A host class named like a toolkit class is its own class: it is not taken for the toolkit's,
// names itself, and lookup by name still finds the toolkit's class.
TEST(RuntimeTest, HostClassNamedLikeAToolkitClass) {
  Class* toolkitTabs = TabBarController::runtimeClass();
  Class* toolkitHosting = HostingController::runtimeClass();
  auto tabs = std::make_shared<::TabBarController>();
  auto hosting = std::make_shared<::HostingController>();
  EXPECT_FALSE(tabs->isKindOfClass(toolkitTabs));
  EXPECT_FALSE(hosting->isKindOfClass(toolkitHosting));
  EXPECT_TRUE(tabs->isKindOfClass(ViewController::runtimeClass()));
  EXPECT_EQ(stringFromClass(tabs->getClass()), "TabBarController");
  EXPECT_EQ(tabs->getClass()->superclass(), ViewController::runtimeClass());
  EXPECT_EQ(classFromString("TabBarController"), toolkitTabs);
  EXPECT_EQ(classFromString("HostingController"), toolkitHosting);
  EXPECT_TRUE(std::make_shared<TabBarController>()->isKindOfClass(toolkitTabs));
}

}  // namespace
}  // namespace obx::platform
