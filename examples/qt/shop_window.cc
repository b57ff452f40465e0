#include "shop_window.h"

#include <QButtonGroup>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QPainter>
#include <QVBoxLayout>

namespace shop {

namespace {

struct Product {
  const char* name;
  const char* price;
  QColor color;
};

const Product kProducts[] = {
    {"Espresso cups", "€ 18.00", QColor(180, 90, 60)},   {"Tea pot", "€ 32.50", QColor(70, 130, 90)},
    {"Milk jug", "€ 12.90", QColor(200, 200, 210)},      {"Coffee grinder", "€ 64.00", QColor(60, 60, 70)},
    {"Bean tin", "€ 9.50", QColor(190, 160, 60)},        {"Pour-over stand", "€ 27.00", QColor(120, 80, 40)},
    {"Kettle", "€ 45.00", QColor(150, 150, 160)},        {"Mug set", "€ 22.00", QColor(60, 100, 170)},
};

// A product's picture: a drawn cup in the product's colour.
QPixmap picture(const QColor& color) {
  QPixmap pixmap(64, 64);
  pixmap.fill(QColor(245, 240, 232));
  QPainter painter(&pixmap);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setBrush(color);
  painter.setPen(Qt::NoPen);
  painter.drawRoundedRect(14, 18, 30, 34, 6, 6);
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(color, 5));
  painter.drawEllipse(38, 26, 14, 16);
  return pixmap;
}

QLabel* heading(const QString& text) {
  auto* label = new QLabel(text);
  QFont font = label->font();
  font.setPixelSize(22);
  font.setBold(true);
  label->setFont(font);
  return label;
}

// The journey finds widgets by these names, and the recording labels them with it.
template <typename Widget>
Widget* named(Widget* widget, const char* name) {
  widget->setObjectName(name);
  return widget;
}

QLineEdit* field(const char* name, const char* placeholder) {
  auto* edit = named(new QLineEdit, name);
  edit->setPlaceholderText(placeholder);
  return edit;
}

// A column of widgets, top to bottom, with what is left of the height below them.
void stack(QVBoxLayout* layout, std::initializer_list<QWidget*> widgets) {
  for (QWidget* widget : widgets) layout->addWidget(widget);
  layout->addStretch();
}

}  // namespace

ShopWindow::ShopWindow() {
  setObjectName("Shop");
  setWindowTitle("Corner Coffee Shop");
  resize(420, 640);
  pages = new QStackedWidget;
  pages->addWidget(makeSignIn());
  pages->addWidget(makeShop());
  pages->addWidget(makeCheckout());
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(pages);
  makeConfirmation();

  connect(signIn, &QPushButton::clicked, this, [this] { pages->setCurrentIndex(1); });
  for (std::size_t i = 0; i < addButtons.size(); ++i) {
    connect(addButtons[i], &QPushButton::clicked, this, [this, i] {
      basket->addItem(QString("%1   %2").arg(kProducts[i].name, kProducts[i].price));
    });
  }
  connect(toCheckout, &QPushButton::clicked, this, [this] { pages->setCurrentIndex(2); });
  connect(pay, &QPushButton::clicked, confirmation, &QDialog::open);
  connect(confirmationOK, &QPushButton::clicked, this, [this] {
    confirmation->accept();
    basket->clear();
    pages->setCurrentIndex(1);
    tabs->setCurrentIndex(0);
  });
}

QWidget* ShopWindow::makeSignIn() {
  auto* page = named(new QWidget, "SignIn");
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(32, 48, 32, 48);
  layout->addWidget(heading("Welcome back"));
  layout->addWidget(new QLabel("Sign in to order your coffee things."));
  email = field("email", "Email");
  password = field("password", "Password");
  password->setEchoMode(QLineEdit::Password);
  signIn = named(new QPushButton("Sign in"), "signIn");
  layout->addSpacing(24);
  stack(layout, {email, password, signIn});
  return page;
}

QWidget* ShopWindow::makeShop() {
  tabs = named(new QTabWidget, "ShopTabs");

  auto* list = new QWidget;
  auto* listLayout = new QVBoxLayout(list);
  for (const Product& product : kProducts) {
    auto* row = new QWidget;
    auto* rowLayout = new QHBoxLayout(row);
    auto* image = new QLabel;
    image->setPixmap(picture(product.color));
    auto* text = new QLabel(QString("<b>%1</b><br>%2").arg(product.name, product.price));
    auto* add = new QPushButton("Add");
    addButtons.push_back(add);
    rowLayout->addWidget(image);
    rowLayout->addWidget(text, 1);
    rowLayout->addWidget(add);
    listLayout->addWidget(row);
  }
  products = named(new QScrollArea, "Products");
  products->setWidget(list);
  products->setWidgetResizable(true);
  tabs->addTab(products, "Products");

  auto* basketPage = named(new QWidget, "Basket");
  auto* basketLayout = new QVBoxLayout(basketPage);
  basketLayout->addWidget(heading("Your basket"));
  basket = new QListWidget;
  toCheckout = new QPushButton("Go to checkout");
  basketLayout->addWidget(basket);
  basketLayout->addWidget(toCheckout);
  tabs->addTab(basketPage, "Basket");
  return tabs;
}

QWidget* ShopWindow::makeCheckout() {
  auto* page = named(new QWidget, "Checkout");
  auto* layout = new QVBoxLayout(page);
  layout->setContentsMargins(24, 32, 24, 32);
  layout->addWidget(heading("Checkout"));
  auto* form = new QFormLayout;
  name = field("name", "");
  card = field("card", "Card number");
  country = named(new QComboBox, "country");
  country->addItems({"Belgium", "France", "Germany", "Netherlands"});
  form->addRow("Name on card", name);
  form->addRow("Card number", card);
  form->addRow("Country", country);
  layout->addLayout(form);
  auto* standard = new QRadioButton("Standard delivery");
  express = named(new QRadioButton("Express delivery"), "express");
  standard->setChecked(true);
  auto* group = new QButtonGroup(page);
  group->addButton(standard);
  group->addButton(express);
  saveCard = named(new QCheckBox("Remember this card"), "saveCard");
  pay = named(new QPushButton("Pay € 30.50"), "pay");
  stack(layout, {standard, express, saveCard, pay});
  return page;
}

void ShopWindow::makeConfirmation() {
  confirmation = named(new QDialog(this), "OrderPlaced");
  confirmation->setModal(true);
  confirmation->resize(300, 160);
  auto* layout = new QVBoxLayout(confirmation);
  layout->addWidget(heading("Thank you!"));
  layout->addWidget(new QLabel("Your order is on its way."));
  confirmationOK = new QPushButton("OK");
  layout->addWidget(confirmationOK);
}

}  // namespace shop
