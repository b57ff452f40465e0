// ShopWindow: a small shop written in plain Qt Widgets, with nothing of the SDK in it: a sign-in page
// with a password field, a shop with tabs (a product list with pictures in a scroll area, a basket), a
// checkout form with a card number, and a modal dialog that confirms the order. Its widgets are public
// so that the scripted journey can reach them as a person's fingers would.
#pragma once

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTabWidget>
#include <QWidget>
#include <vector>

namespace shop {

class ShopWindow : public QWidget {
 public:
  ShopWindow();

  QStackedWidget* pages;
  // Sign-in.
  QLineEdit* email;
  QLineEdit* password;
  QPushButton* signIn;
  // The shop.
  QTabWidget* tabs;
  QScrollArea* products;
  std::vector<QPushButton*> addButtons;
  QListWidget* basket;
  QPushButton* toCheckout;
  // Checkout.
  QLineEdit* name;
  QLineEdit* card;
  QComboBox* country;
  QRadioButton* express;
  QCheckBox* saveCard;
  QPushButton* pay;
  // Shown after paying; modal over the window.
  QDialog* confirmation;
  QPushButton* confirmationOK;

 private:
  QWidget* makeSignIn();
  QWidget* makeShop();
  QWidget* makeCheckout();
  void makeConfirmation();
};

}  // namespace shop
