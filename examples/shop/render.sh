#!/usr/bin/env bash
# Renders the demo shop's reports: builds shop.db from shop.sql (when the script is newer) and
# writes invoice.pdf, sales.pdf, labels.pdf and letter.pdf into OUTDIR; with FORMAT png, the pages
# as OUTDIR/invoice-N.png and so on instead.
#   examples/shop/render.sh OUTDIR [QUILLET] [DBFILE] [FORMAT]
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
out="${1:?usage: render.sh OUTDIR [QUILLET] [DBFILE] [FORMAT]}"
quillet="${2:-$here/../../build/quillet}"
db="${3:-$out/shop.db}"
format="${4:-pdf}"
mkdir -p "$out"
# render NAME REPORT.qdr OPTIONS...: the report as OUTDIR/NAME.pdf, or its pages as PNG.
render() {
  local name="$1"
  shift
  if [ "$format" = png ]; then
    "$quillet" render "$@" --format png -o "$out/$name"
  else
    "$quillet" render "$@" -o "$out/$name.pdf"
  fi
}
if [ ! -f "$db" ] || [ "$here/shop.sql" -nt "$db" ]; then
  rm -f "$db"
  sqlite3 "$db" < "$here/shop.sql"
fi

# One invoice per order: the order with its customer, the items through the :Orders.id parameter,
# and the totals as a second detail band under the items.
render invoice "$here/invoice.qdr" \
  --data Orders="sqlite:$db:SELECT o.id, o.order_date, o.paid, o.reference, c.name AS customer, c.street,
      c.city, c.country, (SELECT ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2) FROM order_items i
      WHERE i.order_id = o.id) AS gross
    FROM orders o JOIN customers c ON c.id = o.customer_id ORDER BY o.id" \
  --data Items="sqlite:$db:SELECT p.name AS product, p.ean, i.quantity, i.unit_price,
      i.quantity * i.unit_price AS amount
    FROM order_items i JOIN products p ON p.id = i.product_id WHERE i.order_id = :Orders.id ORDER BY i.id" \
  --data Totals="sqlite:$db:SELECT SUM(i.quantity * i.unit_price) AS net,
      ROUND(SUM(i.quantity * i.unit_price) * 0.19, 2) AS vat,
      ROUND(SUM(i.quantity * i.unit_price) * 1.19, 2) AS gross
    FROM order_items i WHERE i.order_id = :Orders.id"

# Order lines grouped by customer and month, with the revenue per product as a data table.
render sales "$here/sales.qdr" \
  --data Sales="sqlite:$db:SELECT c.name AS customer, c.country, strftime('%Y-%m', o.order_date) AS month,
      o.id AS order_id, o.order_date, p.name AS product, i.quantity, i.quantity * i.unit_price AS amount
    FROM order_items i JOIN orders o ON o.id = i.order_id JOIN customers c ON c.id = o.customer_id
      JOIN products p ON p.id = i.product_id
    ORDER BY c.name, month, o.order_date, o.id, i.id" \
  --data Products="sqlite:$db:SELECT p.name, p.ean, SUM(i.quantity) AS qty,
      SUM(i.quantity * i.unit_price) AS revenue
    FROM order_items i JOIN products p ON p.id = i.product_id GROUP BY p.id ORDER BY revenue DESC"

# A label per product, and a card with every barcode symbology.
render labels "$here/labels.qdr" \
  --data Products="sqlite:$db:SELECT id, name, ean, price FROM products ORDER BY id"

# A thank-you letter to every customer who ordered.
render letter "$here/letter.qdr" \
  --data Customers="sqlite:$db:SELECT c.id, c.name, c.street, c.city, c.country, c.email,
      COUNT(DISTINCT o.id) AS orders, SUM(i.quantity * i.unit_price) AS spent
    FROM customers c JOIN orders o ON o.customer_id = c.id JOIN order_items i ON i.order_id = o.id
    GROUP BY c.id ORDER BY c.name"
