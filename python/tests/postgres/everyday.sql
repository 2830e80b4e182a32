-- postgres: CREATE TABLE everyday (id int, customer text, country text, product text, category text, qty int, price numeric(8,2), day date, at timestamp, email text, tags text, code text)
-- postgres: INSERT INTO everyday VALUES (1, 'Ann Lee', 'DE', 'Desk', 'furniture', 1, 1.5, '2011-11-03', '2012-03-01 19:06:40', 'ann.0@mail.example', '', '  0 '), (2, 'Finn', NULL, 'Bulb', 'light', 8, 10.75, '2011-11-06', '2012-03-01 09:30:17', 'finn.1@shop.example.org', 'new', '1.1'), (3, 'Dmitri O''Neil', 'US', 'Lamp', 'light', 6, 20.0, '2011-11-15', '2012-03-01 11:00:34', 'dmitri.2@EXAMPLE.com', 'sale', '-2'), (4, 'Bob Stone', 'FR', 'Pen', NULL, 4, 29.25, '2011-11-30', '2012-03-01 12:30:51', NULL, 'new,sale', 'n/a'), (5, 'Grace Hopper', 'US', 'Chair', 'furniture', 2, NULL, '2011-12-21', '2012-03-01 14:01:08', 'grace.0@shop.example.org', 'gift', '8%'), (6, 'Eva-Maria Ruiz', 'ES', 'Desk', 'furniture', 9, 47.75, '2012-01-17', '2012-03-01 15:31:25', 'eva-maria.1@EXAMPLE.com', 'new,gift', '1,055'), (7, 'Carla de Boer', 'DE', 'Bulb', 'light', 7, 57.0, '2012-02-19', '2012-03-02 04:08:22', 'carla.2@mail.example', 'sale,gift', '  18 '), (8, 'Ann Lee', 'DE', 'Lamp', 'light', NULL, 66.25, '2012-03-29', '2012-03-01 18:31:59', 'ann.3@shop.example.org', 'new,sale,gift', '7.7'), (9, 'Finn', NULL, 'Pen', NULL, 3, 75.5, '2012-05-13', '2012-03-01 20:02:16', 'finn.0@EXAMPLE.com', NULL, '-8'), (10, 'Dmitri O''Neil', 'US', 'Chair', 'furniture', 1, 84.75, '2012-07-03', '2012-03-01 21:32:33', 'dmitri.1@mail.example', 'new,bulk', 'n/a'), (11, 'Bob Stone', 'FR', 'Desk', 'furniture', 8, 94.0, '2012-08-29', '2012-03-01 23:02:50', 'bob.2@shop.example.org', 'sale,bulk', '20%'), (12, 'Grace Hopper', 'US', 'Bulb', 'light', 6, 3.25, '2012-10-31', '2012-03-02 00:33:07', 'grace.3@EXAMPLE.com', 'new,sale,bulk', '1,121'), (13, 'Eva-Maria Ruiz', 'ES', 'Lamp', 'light', 4, 12.5, '2013-01-08', '2012-03-02 13:10:04', 'eva-maria.0@mail.example', 'gift,bulk', '  36 '), (14, 'Carla de Boer', 'DE', 'Pen', NULL, 2, 21.75, '2013-03-24', '2012-03-02 03:33:41', 'carla.1@shop.example.org', 'new,gift,bulk', '13.3'), (15, 'Ann Lee', 'DE', 'Chair', 'furniture', 9, 31.0, '2013-06-13', '2012-03-02 05:03:58', NULL, 'sale,gift,bulk', '-14'), (16, 'Finn', NULL, 'Desk', 'furniture', 7, 40.25, '2012-01-04', '2012-03-02 06:34:15', 'finn.3@mail.example', 'new,sale,gift,bulk', 'n/a'), (17, 'Dmitri O''Neil', 'US', 'Bulb', 'light', 5, 49.5, '2012-04-06', '2012-03-02 08:04:32', 'dmitri.0@shop.example.org', '', '32%'), (18, 'Bob Stone', 'FR', 'Lamp', 'light', 3, 58.75, '2012-07-14', '2012-03-02 09:34:49', 'bob.1@EXAMPLE.com', NULL, '1,187'), (19, 'Grace Hopper', 'US', 'Pen', NULL, 1, 68.0, '2012-10-27', '2012-03-02 22:11:46', 'grace.2@mail.example', 'sale', '  54 '), (20, 'Eva-Maria Ruiz', 'ES', 'Chair', 'furniture', 8, 77.25, '2013-02-15', '2012-03-02 12:35:23', 'eva-maria.3@shop.example.org', 'new,sale', '19.9'), (21, 'Carla de Boer', 'DE', 'Desk', 'furniture', NULL, 86.5, '2013-06-12', '2012-03-02 14:05:40', 'carla.0@EXAMPLE.com', 'gift', '-20'), (22, 'Ann Lee', 'DE', 'Bulb', 'light', 4, NULL, '2012-02-08', '2012-03-02 15:35:57', 'ann.1@mail.example', 'new,gift', 'n/a'), (23, 'Finn', NULL, 'Lamp', 'light', 2, 5.0, '2012-06-16', '2012-03-02 17:06:14', 'finn.2@shop.example.org', 'sale,gift', '44%'), (24, 'Dmitri O''Neil', 'US', 'Pen', NULL, 9, 14.25, '2012-10-29', '2012-03-02 18:36:31', 'dmitri.3@EXAMPLE.com', 'new,sale,gift', '1,253'), (25, 'Bob Stone', 'FR', 'Chair', 'furniture', 7, 23.5, '2013-03-19', '2012-03-03 07:13:28', 'bob.0@mail.example', 'bulk', '  72 '), (26, 'Grace Hopper', 'US', 'Desk', 'furniture', 5, 32.75, '2011-12-09', '2012-03-02 21:37:05', NULL, 'new,bulk', '25.5'), (27, 'Eva-Maria Ruiz', 'ES', 'Bulb', 'light', 3, 42.0, '2012-05-10', '2012-03-02 23:07:22', 'eva-maria.2@EXAMPLE.com', NULL, '-26'), (28, 'Carla de Boer', 'DE', 'Lamp', 'light', 1, 51.25, '2012-10-16', '2012-03-03 00:37:39', 'carla.3@mail.example', 'new,sale,bulk', 'n/a'), (29, 'Ann Lee', 'DE', 'Pen', NULL, 8, 60.5, '2013-03-30', '2012-03-03 02:07:56', 'ann.0@shop.example.org', 'gift,bulk', '56%'), (30, 'Finn', NULL, 'Chair', 'furniture', 6, 69.75, '2012-01-13', '2012-03-03 03:38:13', 'finn.1@EXAMPLE.com', 'new,gift,bulk', '1,319'), (31, 'Dmitri O''Neil', 'US', 'Desk', 'furniture', 4, 79.0, '2012-07-08', '2012-03-03 16:15:10', 'dmitri.2@mail.example', 'sale,gift,bulk', '  90 '), (32, 'Bob Stone', 'FR', 'Bulb', 'light', 2, 88.25, '2013-01-07', '2012-03-03 06:38:47', 'bob.3@shop.example.org', 'new,sale,gift,bulk', '31.1'), (33, 'Grace Hopper', 'US', 'Lamp', 'light', 9, 97.5, '2011-11-10', '2012-03-03 08:09:04', 'grace.0@EXAMPLE.com', '', '-32'), (34, 'Eva-Maria Ruiz', 'ES', 'Pen', NULL, NULL, 6.75, '2012-05-23', '2012-03-03 09:39:21', 'eva-maria.1@mail.example', 'new', 'n/a'), (35, 'Carla de Boer', 'DE', 'Chair', 'furniture', 5, 16.0, '2012-12-10', '2012-03-03 11:09:38', 'carla.2@shop.example.org', 'sale', '68%'), (36, 'Ann Lee', 'DE', 'Desk', 'furniture', 3, 25.25, '2013-07-05', '2012-03-03 12:39:55', 'ann.3@EXAMPLE.com', NULL, '1,385'), (37, 'Finn', NULL, 'Bulb', 'light', 1, 34.5, '2012-05-31', '2012-03-04 01:16:52', NULL, 'gift', '  108 '), (38, 'Dmitri O''Neil', 'US', 'Lamp', 'light', 8, 43.75, '2013-01-05', '2012-03-03 15:40:29', 'dmitri.1@shop.example.org', 'new,gift', '37.7'), (39, 'Bob Stone', 'FR', 'Pen', NULL, 6, NULL, '2011-12-14', '2012-03-03 17:10:46', 'bob.2@EXAMPLE.com', 'sale,gift', '-38'), (40, 'Grace Hopper', 'US', 'Chair', 'furniture', 4, 62.25, '2012-08-01', '2012-03-03 18:41:03', 'grace.3@mail.example', 'new,sale,gift', 'n/a'), (41, 'Eva-Maria Ruiz', 'ES', 'Desk', 'furniture', 2, 71.5, '2013-03-26', '2012-03-03 20:11:20', 'eva-maria.0@shop.example.org', 'bulk', '80%'), (42, 'Carla de Boer', 'DE', 'Bulb', 'light', 9, 80.75, '2012-03-21', '2012-03-03 21:41:37', 'carla.1@EXAMPLE.com', 'new,bulk', '1,451'), (43, 'Ann Lee', 'DE', 'Lamp', 'light', 7, 90.0, '2012-11-25', '2012-03-04 10:18:34', 'ann.2@mail.example', 'sale,bulk', '  126 '), (44, 'Finn', NULL, 'Pen', NULL, 5, 99.25, '2011-12-03', '2012-03-04 00:42:11', 'finn.3@shop.example.org', 'new,sale,bulk', '43.3'), (45, 'Dmitri O''Neil', 'US', 'Chair', 'furniture', 3, 8.5, '2012-08-20', '2012-03-04 02:12:28', 'dmitri.0@EXAMPLE.com', NULL, '-44'), (46, 'Bob Stone', 'FR', 'Desk', 'furniture', 1, 17.75, '2013-05-14', '2012-03-04 03:42:45', 'bob.1@mail.example', 'new,gift,bulk', 'n/a'), (47, 'Grace Hopper', 'US', 'Bulb', 'light', NULL, 27.0, '2012-06-08', '2012-03-04 05:13:02', 'grace.2@shop.example.org', 'sale,gift,bulk', '92%'), (48, 'Eva-Maria Ruiz', 'ES', 'Lamp', 'light', 6, 36.25, '2013-03-14', '2012-03-04 06:43:19', NULL, 'new,sale,gift,bulk', '1,517')
-- Dates: months, quarters, weeks, ages, the ends of months.
SELECT date_trunc('month', day)::date AS month, count(*), sum(qty * price) AS revenue FROM everyday GROUP BY 1 ORDER BY 1
SELECT to_char(day, 'YYYY-MM') AS month, count(DISTINCT customer) AS customers, round(avg(price), 2) FROM everyday GROUP BY to_char(day, 'YYYY-MM') ORDER BY month
SELECT extract(year FROM day) AS y, extract(quarter FROM day) AS q, sum(qty) FROM everyday GROUP BY y, q ORDER BY y, q
SELECT 'Q' || extract(quarter FROM day) || '/' || extract(year FROM day) AS quarter, count(*) FROM everyday GROUP BY 1 ORDER BY min(day)
SELECT id, day, (date_trunc('month', day) + INTERVAL '1 month' - INTERVAL '1 day')::date AS last_day, extract(day FROM (date_trunc('month', day) + INTERVAL '1 month - 1 day'))::int AS days FROM everyday ORDER BY id
SELECT id, day - DATE '2012-01-01' AS days, (DATE '2014-01-01' - day) / 7 AS weeks, age(DATE '2014-01-01', day) FROM everyday ORDER BY id
SELECT id, extract(epoch FROM at - TIMESTAMP '2012-03-01') / 3600 AS hours, round(extract(epoch FROM at - TIMESTAMP '2012-03-01')::numeric / 86400, 3) FROM everyday ORDER BY id
SELECT date_part('isoyear', day), date_part('hour', at), extract(isodow FROM day), extract(doy FROM day), count(*) FROM everyday GROUP BY 1, 2, 3, 4 ORDER BY 1, 2, 3, 4
SELECT to_char(day, 'Dy') AS weekday, count(*) FROM everyday GROUP BY to_char(day, 'Dy'), extract(isodow FROM day) ORDER BY extract(isodow FROM day)
SELECT CASE WHEN extract(isodow FROM day) IN (6, 7) THEN 'weekend' ELSE 'weekday' END AS part, count(*), avg(qty)::numeric(6, 2) FROM everyday GROUP BY 1 ORDER BY 1
SELECT date_trunc('week', day)::date AS monday, count(*) FILTER (WHERE qty > 4), sum(price) FROM everyday GROUP BY 1 HAVING count(*) > 1 ORDER BY 1
SELECT id FROM everyday WHERE day BETWEEN DATE '2012-01-01' AND DATE '2012-12-31' AND extract(month FROM day) IN (1, 2, 12) ORDER BY id
SELECT id, at::date, at::time, date_trunc('hour', at), date_trunc('day', at) = at::date AS same FROM everyday WHERE at >= TIMESTAMP '2012-03-02' AND at < TIMESTAMP '2012-03-02' + INTERVAL '6 hours' ORDER BY id
SELECT id, day + 30 AS due, day + INTERVAL '2 weeks', (day + INTERVAL '1 year')::date, day - INTERVAL '3 months' FROM everyday WHERE id < 12 ORDER BY id
SELECT make_date(extract(year FROM day)::int, 1, 1) AS y, max(day) - min(day) AS span FROM everyday GROUP BY 1 ORDER BY 1
SELECT to_date('03/11/2011', 'DD/MM/YYYY'), to_date('2012-Feb-29', 'YYYY-Mon-DD'), to_timestamp('2012-03-01 14:05', 'YYYY-MM-DD HH24:MI')::timestamp, '2012-02-29'::date + 1
SELECT count(*) FROM everyday WHERE day >= date_trunc('year', DATE '2012-06-15') AND day < date_trunc('year', DATE '2012-06-15') + INTERVAL '1 year'
SELECT id, date_bin('6 hours', at, TIMESTAMP '2012-03-01') AS slot FROM everyday ORDER BY at LIMIT 10
SELECT g.month::date, count(e.id), coalesce(sum(e.price), 0) FROM generate_series(TIMESTAMP '2011-11-01', TIMESTAMP '2013-07-01', INTERVAL '1 month') AS g (month) LEFT JOIN everyday e ON date_trunc('month', e.day) = g.month GROUP BY g.month ORDER BY g.month
SELECT (DATE '2012-01-01' + n * 7) AS monday, (SELECT count(*) FROM everyday e WHERE e.day >= DATE '2012-01-01' + n * 7 AND e.day < DATE '2012-01-08' + n * 7) AS orders FROM generate_series(0, 11) AS s (n) ORDER BY 1
SELECT customer, max(day) AS last, DATE '2013-08-01' - max(day) AS days_ago, CASE WHEN DATE '2013-08-01' - max(day) > 120 THEN 'lapsed' ELSE 'active' END FROM everyday GROUP BY customer ORDER BY customer
SELECT id, greatest(day, DATE '2012-03-01'), least(day, at::date), day IS DISTINCT FROM at::date FROM everyday ORDER BY id
SELECT justify_days(sum(at - date_trunc('day', at))), avg(at - date_trunc('day', at)) FROM everyday
-- Texts: names, cases, lengths, parts, patterns.
SELECT id, upper(left(customer, 1)) || lower(substr(customer, 2)) AS name, char_length(customer), split_part(customer, ' ', 1), split_part(customer, ' ', 2) FROM everyday ORDER BY id
SELECT DISTINCT initcap(split_part(email, '@', 1)), split_part(split_part(email, '@', 2), '.', -1) AS tld FROM everyday ORDER BY 1, 2
SELECT lower(substring(email FROM position('@' IN email) + 1)) AS domain, count(*) FROM everyday WHERE email IS NOT NULL GROUP BY 1 ORDER BY 2 DESC, 1
SELECT id, email FROM everyday WHERE email ILIKE '%EXAMPLE.com' AND email NOT LIKE 'f%' ORDER BY id
SELECT id, email ~ '^[a-z]+\.[0-9]@' AS plain, email ~* 'example\.(com|org)$', regexp_replace(email, '@.*$', '@...') FROM everyday ORDER BY id
SELECT id, regexp_replace(code, '[^0-9.-]', '', 'g') AS digits, nullif(regexp_replace(code, '\D', '', 'g'), '')::int AS n FROM everyday ORDER BY id
SELECT id, substring(code FROM '[0-9]+')::int, substring(email FROM '\.(\d)@') FROM everyday ORDER BY id
SELECT id, trim(code), btrim(code), ltrim(code), length(trim(code)), lpad(id::text, 4, '0'), rpad(country, 4, '-') FROM everyday ORDER BY id
SELECT id, concat_ws(' / ', country, category, product), concat(customer, ' (', coalesce(country, '?'), ')'), format('%s: %s', id, product) FROM everyday ORDER BY id
SELECT id, strpos(customer, ' '), position('o' IN lower(customer)), replace(customer, '''', '`'), translate(customer, 'aeiou', '*****'), reverse(product) FROM everyday ORDER BY id
SELECT customer, string_agg(DISTINCT product, ', ' ORDER BY product) AS products, count(DISTINCT product) FROM everyday GROUP BY customer ORDER BY customer
SELECT product, string_agg(id::text, ',' ORDER BY day DESC, id) FROM everyday GROUP BY product ORDER BY product
SELECT id, tags, split_part(tags, ',', 1), char_length(tags) - char_length(replace(tags, ',', '')) + 1 AS n FROM everyday WHERE tags <> '' ORDER BY id
SELECT id FROM everyday WHERE ',' || tags || ',' LIKE '%,sale,%' ORDER BY id
SELECT id, tags FROM everyday WHERE tags SIMILAR TO '%(sale|gift)%' AND tags !~ 'bulk' ORDER BY id
SELECT tag, count(*) FROM everyday JOIN (VALUES ('new'), ('sale'), ('gift'), ('bulk')) t (tag) ON strpos(tags, tag) > 0 GROUP BY tag ORDER BY count(*) DESC, tag
SELECT n, split_part(tags, ',', n) AS tag, count(*) FROM everyday CROSS JOIN generate_series(1, 4) AS s (n) WHERE split_part(tags, ',', n) <> '' GROUP BY 1, 2 ORDER BY 1, 2
SELECT left(product, 1) AS initial, right(product, 2), min(length(product)), md5(min(product)) FROM everyday GROUP BY 1, 2 ORDER BY 1, 2
SELECT customer FROM everyday GROUP BY customer HAVING customer LIKE '%e%' OR customer LIKE '_ob%' ORDER BY length(customer), customer
SELECT id, overlay(email PLACING '***' FROM 2 FOR 3), repeat('*', qty), ascii(product), chr(64 + qty), starts_with(product, 'L') FROM everyday ORDER BY id
SELECT quote_literal(customer), customer || '' = customer, E'a\tb' || chr(10), 'x' 'y', U&'\00E9' FROM everyday WHERE customer LIKE '%''%' LIMIT 1
-- Percentages, shares, running totals.
SELECT country, count(*), round(100.0 * count(*) / sum(count(*)) OVER (), 1) AS percent FROM everyday GROUP BY country ORDER BY count(*) DESC, country
SELECT product, sum(qty * price) AS revenue, round(sum(qty * price) * 100 / sum(sum(qty * price)) OVER (), 2) AS share, round(sum(sum(qty * price)) OVER (ORDER BY sum(qty * price) DESC) * 100 / sum(sum(qty * price)) OVER (), 2) AS running FROM everyday GROUP BY product ORDER BY revenue DESC
SELECT round(100.0 * count(*) FILTER (WHERE qty IS NULL) / count(*), 2) AS missing, round(avg(CASE WHEN price > 20 THEN 1.0 ELSE 0 END), 4), count(price)::float / count(*) FROM everyday
SELECT id, day, qty, sum(qty) OVER (ORDER BY day, id) AS running, avg(price) OVER (ORDER BY day, id ROWS BETWEEN 2 PRECEDING AND CURRENT ROW) AS moving FROM everyday ORDER BY day, id
SELECT id, country, sum(price) OVER (PARTITION BY country ORDER BY id ROWS UNBOUNDED PRECEDING), price / sum(price) OVER (PARTITION BY country) AS share FROM everyday ORDER BY id
SELECT date_trunc('month', day)::date AS month, sum(price) AS total, sum(sum(price)) OVER (PARTITION BY extract(year FROM date_trunc('month', day)) ORDER BY date_trunc('month', day)) AS to_date FROM everyday GROUP BY date_trunc('month', day) ORDER BY 1
SELECT id, count(*) OVER (ORDER BY at RANGE BETWEEN INTERVAL '3 hours' PRECEDING AND CURRENT ROW) AS last_hours FROM everyday ORDER BY at, id
SELECT country, category, sum(qty), grouping(country, category) FROM everyday GROUP BY ROLLUP (country, category) ORDER BY grouping(country, category), country, category
SELECT coalesce(country, 'all') AS country, coalesce(product, 'all') AS product, count(*) FROM everyday WHERE country IS NOT NULL GROUP BY CUBE (country, product) ORDER BY 1, 2, 3
SELECT country, sum(qty) AS q, sum(qty) * 1.0 / (SELECT sum(qty) FROM everyday) AS share FROM everyday GROUP BY country ORDER BY share DESC NULLS LAST, country
SELECT id, price, price * 1.19 AS gross, round(price * 1.19, 2), trunc(price), ceil(price), floor(price), mod(id, 7), id % 5, abs(qty - 5), sign(qty - 5) FROM everyday WHERE id < 20 ORDER BY id
-- Percentiles and statistics.
SELECT percentile_cont(0.5) WITHIN GROUP (ORDER BY price), percentile_disc(0.5) WITHIN GROUP (ORDER BY price), percentile_cont(0.9) WITHIN GROUP (ORDER BY qty) FROM everyday
SELECT country, percentile_cont(0.25) WITHIN GROUP (ORDER BY price) AS q1, percentile_cont(0.75) WITHIN GROUP (ORDER BY price) - percentile_cont(0.25) WITHIN GROUP (ORDER BY price) AS iqr FROM everyday GROUP BY country ORDER BY country
SELECT mode() WITHIN GROUP (ORDER BY product), mode() WITHIN GROUP (ORDER BY category), stddev(price)::numeric(10, 4), variance(qty)::numeric(10, 4), corr(qty, price)::numeric(10, 6) FROM everyday
SELECT width_bucket(price, 0, 100, 5) AS bucket, count(*), min(price), max(price) FROM everyday GROUP BY 1 ORDER BY 1
SELECT ntile(4) OVER (ORDER BY id) AS quartile, id FROM everyday ORDER BY id
SELECT id, price, percent_rank() OVER (ORDER BY price), cume_dist() OVER (ORDER BY price) FROM everyday WHERE price IS NOT NULL ORDER BY id
SELECT count(*), count(qty), count(DISTINCT qty), min(qty), max(qty), avg(qty), sum(qty), bool_and(qty > 0), bool_or(qty > 8), every(price > 0) FROM everyday
SELECT regr_slope(price, qty)::numeric(12, 6), regr_intercept(price, qty)::numeric(12, 6), regr_count(price, qty), regr_r2(price, qty)::numeric(12, 8) FROM everyday
SELECT e.id, (e.price - s.m) / s.sd > 1 AS outlier FROM everyday e CROSS JOIN (SELECT avg(price) AS m, stddev_pop(price) AS sd FROM everyday) s WHERE e.price IS NOT NULL ORDER BY e.id
-- The top n of each group, duplicates, first and last rows.
SELECT country, id, price FROM (SELECT country, id, price, row_number() OVER (PARTITION BY country ORDER BY price DESC NULLS LAST, id) AS rn FROM everyday) t WHERE rn <= 2 ORDER BY country, rn
SELECT DISTINCT ON (customer) customer, day, product FROM everyday ORDER BY customer, day DESC, id
SELECT e.customer, e.day FROM everyday e WHERE e.day = (SELECT max(i.day) FROM everyday i WHERE i.customer = e.customer) ORDER BY 1, 2
WITH ranked AS (SELECT product, customer, sum(qty) AS q, dense_rank() OVER (PARTITION BY product ORDER BY sum(qty) DESC NULLS LAST) AS r FROM everyday GROUP BY product, customer) SELECT * FROM ranked WHERE r = 1 ORDER BY product, customer
SELECT customer, product, count(*) FROM everyday GROUP BY customer, product HAVING count(*) > 1 ORDER BY 3 DESC, 1, 2
SELECT id FROM (SELECT id, row_number() OVER (PARTITION BY customer, product ORDER BY id) AS copy FROM everyday) t WHERE copy > 1 ORDER BY id
SELECT DISTINCT customer, first_value(product) OVER w AS first_product, last_value(product) OVER w AS last_product FROM everyday WINDOW w AS (PARTITION BY customer ORDER BY day, id ROWS BETWEEN UNBOUNDED PRECEDING AND UNBOUNDED FOLLOWING) ORDER BY customer
SELECT customer, (SELECT product FROM everyday i WHERE i.customer = o.customer ORDER BY price DESC NULLS LAST, id LIMIT 1) AS dearest FROM (SELECT DISTINCT customer FROM everyday) o ORDER BY customer
SELECT id, price FROM everyday ORDER BY price DESC NULLS LAST, id LIMIT 5 OFFSET 2
SELECT country, max(price) FROM everyday WHERE price < (SELECT avg(price) FROM everyday) GROUP BY country ORDER BY 2 DESC, 1
-- CASE buckets, COALESCE chains.
SELECT CASE WHEN price IS NULL THEN 'none' WHEN price < 20 THEN 'low' WHEN price < 60 THEN 'middle' ELSE 'high' END AS band, count(*), sum(qty) FROM everyday GROUP BY 1 ORDER BY min(coalesce(price, -1))
SELECT CASE country WHEN 'DE' THEN 'Germany' WHEN 'FR' THEN 'France' ELSE 'elsewhere' END AS place, count(*) FROM everyday GROUP BY 1 ORDER BY 1
SELECT floor(price / 25) * 25 AS lower_end, floor(price / 25) * 25 + 25 AS upper_end, count(*) FROM everyday WHERE price IS NOT NULL GROUP BY 1, 2 ORDER BY 1
SELECT id, coalesce(email, customer || '@unknown', 'nobody') AS contact, coalesce(qty, 0) * coalesce(price, 0) AS total, nullif(tags, '') AS tags FROM everyday ORDER BY id
SELECT sum(CASE WHEN country = 'DE' THEN price ELSE 0 END) AS de, sum(CASE WHEN country = 'US' THEN price END) AS us, count(CASE WHEN country IS NULL THEN 1 END) AS nowhere FROM everyday
SELECT id, CASE WHEN qty > 5 AND price > 30 THEN 'big' WHEN qty > 5 OR price > 30 THEN 'half' WHEN qty IS NULL OR price IS NULL THEN NULL ELSE 'small' END FROM everyday ORDER BY id
SELECT id FROM everyday WHERE (country, product) IN (('DE', 'Desk'), ('US', 'Lamp'), ('FR', 'Pen')) ORDER BY id
SELECT id, qty IS NULL AS no_qty, country = 'DE' AS german, (country = 'DE') IS NOT TRUE, NOT (qty > 3), qty BETWEEN 2 AND 5, country NOT IN ('DE', 'US') FROM everyday ORDER BY id
-- Cohorts, first orders, retention.
WITH first AS (SELECT customer, min(date_trunc('month', day)) AS cohort FROM everyday GROUP BY customer) SELECT f.cohort::date, count(DISTINCT f.customer) AS customers, count(*) AS orders, count(DISTINCT e.customer) FILTER (WHERE date_trunc('month', e.day) > f.cohort) AS came_again FROM first f JOIN everyday e USING (customer) GROUP BY f.cohort ORDER BY f.cohort
WITH orders AS (SELECT customer, date_trunc('month', day) AS month, min(date_trunc('month', day)) OVER (PARTITION BY customer) AS cohort FROM everyday) SELECT cohort::date, (extract(year FROM month) - extract(year FROM cohort)) * 12 + extract(month FROM month) - extract(month FROM cohort) AS months, count(DISTINCT customer) FROM orders GROUP BY 1, 2 ORDER BY 1, 2
SELECT customer, min(day) AS first_order, count(*) - 1 AS repeats, count(*) FILTER (WHERE day > DATE '2012-06-30') > 0 AS later FROM everyday GROUP BY customer ORDER BY 2, 1
SELECT count(*) FROM (SELECT customer FROM everyday WHERE extract(year FROM day) = 2011 INTERSECT SELECT customer FROM everyday WHERE extract(year FROM day) = 2012) t
SELECT DISTINCT customer FROM everyday WHERE extract(year FROM day) = 2012 AND customer NOT IN (SELECT customer FROM everyday WHERE extract(year FROM day) = 2011) ORDER BY 1
SELECT customer FROM (SELECT DISTINCT customer FROM everyday) c WHERE NOT EXISTS (SELECT 1 FROM everyday e WHERE e.customer = c.customer AND e.product = 'Lamp' AND e.qty > 5) ORDER BY 1
-- Gaps and islands.
SELECT min(id) AS first, max(id) AS last, count(*) FROM (SELECT id, id - row_number() OVER (ORDER BY id) AS island FROM everyday WHERE qty IS NOT NULL AND price IS NOT NULL) t GROUP BY island ORDER BY 1
SELECT id, day, day - lag(day) OVER (ORDER BY day, id) AS gap FROM everyday ORDER BY day, id
SELECT session, min(at), max(at), count(*) FROM (SELECT at, sum(fresh) OVER (ORDER BY at, id) AS session FROM (SELECT id, at, CASE WHEN at - lag(at) OVER (ORDER BY at, id) > INTERVAL '90 minutes' THEN 1 ELSE 0 END AS fresh FROM everyday) s) t GROUP BY session ORDER BY session
SELECT n AS missing FROM generate_series(1, 50) AS s (n) WHERE NOT EXISTS (SELECT 1 FROM everyday e WHERE e.id = n AND e.qty IS NOT NULL) ORDER BY n
WITH steps AS (SELECT id, qty, CASE WHEN qty > lag(qty) OVER (ORDER BY id) THEN 0 ELSE 1 END AS breaks FROM everyday WHERE qty IS NOT NULL), runs AS (SELECT id, sum(breaks) OVER (ORDER BY id) AS run FROM steps) SELECT run, count(*), min(id) FROM runs GROUP BY run HAVING count(*) > 2 ORDER BY run
SELECT day AS begins, lead(day) OVER (ORDER BY day) - 1 AS ends FROM (SELECT DISTINCT day FROM everyday WHERE country = 'US') t ORDER BY day
-- Year over year, month over month.
SELECT y, q, total, lag(total) OVER (PARTITION BY q ORDER BY y) AS before, round(100 * (total - lag(total) OVER (PARTITION BY q ORDER BY y)) / nullif(lag(total) OVER (PARTITION BY q ORDER BY y), 0), 1) AS growth FROM (SELECT extract(year FROM day) AS y, extract(quarter FROM day) AS q, sum(price) AS total FROM everyday GROUP BY 1, 2) t ORDER BY y, q
WITH months AS (SELECT date_trunc('month', day)::date AS month, sum(price) AS total FROM everyday GROUP BY 1) SELECT m.month, m.total, b.total AS year_before, m.total - b.total AS change FROM months m LEFT JOIN months b ON b.month = (m.month - INTERVAL '1 year')::date ORDER BY m.month
SELECT month, total, total - lag(total, 1, 0) OVER (ORDER BY month) AS change, first_value(total) OVER (ORDER BY month), total * 1.0 / first_value(total) OVER (ORDER BY month) AS index FROM (SELECT date_trunc('month', day)::date AS month, count(*) AS total FROM everyday GROUP BY 1) t ORDER BY month
SELECT id, qty, lag(qty, 2) OVER (ORDER BY id), lead(qty, 1, -1) OVER (ORDER BY id), qty - avg(qty) OVER (ORDER BY id ROWS BETWEEN 3 PRECEDING AND 1 PRECEDING) AS above FROM everyday ORDER BY id
-- Pivots.
SELECT product, count(*) FILTER (WHERE country = 'DE') AS de, count(*) FILTER (WHERE country = 'US') AS us, sum(price) FILTER (WHERE country = 'FR') AS fr, avg(qty) FILTER (WHERE country IS NULL) AS nowhere FROM everyday GROUP BY product ORDER BY product
SELECT extract(year FROM day) AS year, max(CASE WHEN product = 'Desk' THEN price END) AS desk, max(price) FILTER (WHERE product = 'Lamp') AS lamp, string_agg(product, '' ORDER BY id) FILTER (WHERE qty = 9) AS nines FROM everyday GROUP BY 1 ORDER BY 1
SELECT 'price' AS what, min(price) AS least, max(price) AS greatest FROM everyday UNION ALL SELECT 'qty', min(qty), max(qty) FROM everyday ORDER BY what
SELECT id, name, value FROM (SELECT id, 'qty' AS name, qty::numeric AS value FROM everyday UNION ALL SELECT id, 'price', price FROM everyday) t WHERE id <= 6 ORDER BY id, name
SELECT e.id, v.name, CASE v.name WHEN 'qty' THEN e.qty::numeric ELSE e.price END AS value FROM everyday e CROSS JOIN (VALUES ('qty'), ('price')) v (name) WHERE e.id < 5 ORDER BY 1, 2
-- Casts from texts, and to them.
SELECT id, CASE WHEN trim(code) ~ '^-?[0-9]+(\.[0-9]+)?$' THEN trim(code)::numeric END AS number FROM everyday ORDER BY id
SELECT id, replace(code, ',', '')::int FROM everyday WHERE code LIKE '_,%' ORDER BY id
SELECT id, rtrim(code, '%')::numeric / 100 AS fraction FROM everyday WHERE code LIKE '%\%' ORDER BY id
SELECT sum(CAST(trim(code) AS double precision)) FROM everyday WHERE trim(code) ~ '^\d+\.\d+$'
SELECT id, id::text || ':' || coalesce(qty::text, '-'), CAST(day AS varchar), cast(at AS text), day::text LIKE '2012-0%', (qty > 4)::text FROM everyday ORDER BY id
SELECT '42'::int + 1, '3.50'::numeric * 2, '1e3'::float8, 't'::boolean, 'yes'::bool, '2012-02-29'::date, '12:30'::time, '2012-02-29 12:30'::timestamp, ' 7 '::int, '1 day'::interval
SELECT ⟦'abc'::int ¦ '2012-02-30'::date ¦ '1,000'::numeric ¦ 'maybe'::boolean ¦ ''::int ¦ '25:00'::time⟧
SELECT to_char(price, 'FM999,990.00'), to_char(qty, '000'), to_char(day, 'DD.MM.YYYY'), to_char(at, 'HH12:MI AM'), to_char(coalesce(price, 0) * 100, 'FM9999') || ' ct' FROM everyday ORDER BY id
SELECT to_number('1,234.50', '9,999.99'), to_number('-17', 'S99'), to_char(0.5, 'FM990%'), to_char(1234567, 'FM9,999,999')
SELECT id, CAST(price AS ⟦int ¦ bigint ¦ real ¦ double precision ¦ numeric ¦ text⟧) IS NULL, CAST(qty AS ⟦text ¦ varchar ¦ character varying(3) ¦ char(1) ¦ smallint ¦ numeric(4, 1)⟧) FROM everyday ORDER BY id
-- Sets, joins with oneself, semi joins.
SELECT a.product, b.product, count(DISTINCT a.customer) FROM everyday a JOIN everyday b ON a.customer = b.customer AND a.product < b.product GROUP BY 1, 2 ORDER BY 3 DESC, 1, 2
SELECT country FROM everyday UNION SELECT product FROM everyday ORDER BY 1 NULLS FIRST
SELECT product FROM everyday WHERE country = 'DE' EXCEPT SELECT product FROM everyday WHERE country = 'ES' ORDER BY 1
SELECT c.country, p.product, count(e.id) FROM (SELECT DISTINCT country FROM everyday) c CROSS JOIN (SELECT DISTINCT product FROM everyday) p LEFT JOIN everyday e ON e.country IS NOT DISTINCT FROM c.country AND e.product = p.product GROUP BY 1, 2 ORDER BY 1, 2
SELECT e.id FROM everyday e WHERE price > ALL (SELECT price FROM everyday i WHERE i.category = 'light' AND i.price IS NOT NULL AND i.id < 20) ORDER BY 1
SELECT e.id, (SELECT count(*) FROM everyday b WHERE b.customer = e.customer AND b.day < e.day) AS earlier FROM everyday e ORDER BY e.id
WITH t (c, total) AS (SELECT customer, sum(price) FROM everyday GROUP BY customer) SELECT c, total, rank() OVER (ORDER BY total DESC), total > (SELECT avg(total) FROM t) AS above FROM t ORDER BY total DESC
SELECT count(*), count(*) FILTER (WHERE p.category IS NULL) FROM everyday e LEFT JOIN (VALUES ('Desk', 'wood'), ('Lamp', 'metal')) p (product, category) ON p.product = e.product
SELECT id FROM everyday ORDER BY CASE WHEN country = 'US' THEN 0 ELSE 1 END, price DESC NULLS LAST, id LIMIT 8
SELECT id FROM everyday ORDER BY country NULLS FIRST, qty DESC NULLS LAST, id FETCH FIRST 6 ROWS ONLY
SELECT ⟦count(*) ¦ sum(price) ¦ avg(qty) ¦ max(day) ¦ min(customer) ¦ count(DISTINCT country)⟧ FROM everyday WHERE ⟦country = 'DE' ¦ qty > 5 AND price < 50 ¦ day > DATE '2012-06-01' ¦ category IS NULL ¦ customer ILIKE '%an%' ¦ id % 2 = 0 ¦ email LIKE '%@mail%' OR tags = 'sale' ¦ false⟧
SELECT ⟦country ¦ product ¦ category ¦ extract(year FROM day) ¦ qty > 4 ¦ left(customer, 1)⟧ AS k, ⟦count(*) ¦ sum(qty) ¦ avg(price) ¦ max(at) ¦ count(DISTINCT customer) ¦ stddev_samp(price)::numeric(12, 6)⟧ FROM everyday GROUP BY 1 ⟦¦ HAVING count(*) > 5⟧ ORDER BY 1 ⟦¦ LIMIT 3⟧
-- Words of the dialect that people type without thinking.
SELECT current_date - current_date, now() >= current_date, current_timestamp IS NOT NULL
SELECT 7 / 2, 7 / 2.0, -7 / 2, -7 % 3, 2 ^ 10, |/ 16, @ -5, 5 & 3, 5 | 3, 5 # 3, 1 << 4, 10 !~ '1', power(2, 0.5)
SELECT 7 / 2, 7 / 2.0, -7 / 2, -7 % 3, 2 ^ 10, 5 & 3, 5 | 3, 5 # 3, 1 << 4, power(2, 0.5), sqrt(2), exp(1), ln(10), log(100), pi(), round(2.345, 2), round(2.5), trunc(-2.7), div(7, 2), gcd(12, 18)
SELECT 'a' < 'b', 'B' < 'a', 'abc' BETWEEN 'abb' AND 'abd', NULL = NULL, NULL IS NULL, 1 = 1.0, 'x' IN ('x', 'y'), true AND NULL, false AND NULL, true OR NULL
SELECT count(*) AS "Orders", "country" AS "Country Name" FROM everyday AS "E" GROUP BY "country" ORDER BY "Country Name"
SELECT e.* FROM everyday AS e WHERE e.id IN (1, 2, 48) ORDER BY e.id DESC
SELECT all_of.id, all_of.total FROM (SELECT id, qty * price total FROM everyday) all_of WHERE total > 100 ORDER BY total DESC, id
SELECT sum(qty) FILTER (WHERE country = 'DE') * 100.0 / nullif(sum(qty), 0) pct, max(price) - min(price) "range" FROM everyday
SELECT CASE WHEN grouping(country) = 1 THEN 'Total' ELSE coalesce(country, 'none') END AS country, sum(price) FROM everyday GROUP BY GROUPING SETS ((country), ()) ORDER BY grouping(country), 1
SELECT to_char(at, 'YYYY-"W"IW'), count(*) FROM everyday GROUP BY 1 ORDER BY 1
SELECT sum(price) OVER w, count(*) OVER (w ROWS 1 PRECEDING) FROM everyday WINDOW w AS (PARTITION BY country ORDER BY id) ORDER BY id
SELECT id, max(price) OVER (PARTITION BY customer) = price AS is_dearest, row_number() OVER (ORDER BY id) FROM everyday ORDER BY id
SELECT customer, count(*) * 1.0 / count(DISTINCT date_trunc('month', day)) AS per_month, max(day)::timestamp - min(day)::timestamp AS span FROM everyday GROUP BY customer ORDER BY 1
SELECT date '2012-02-29' + interval '1 year', date '2012-01-31' + interval '1 month', timestamp '2012-03-25 02:30' - interval '36 hours', interval '1 day' * 1.5, interval '90 minutes' / 2, extract(epoch FROM interval '1 hour 30 minutes'), date '2012-03-01' - date '2012-02-01'
SELECT count(*) FILTER (WHERE country = 'DE')::numeric / nullif(count(*), 0) AS share, string_agg(DISTINCT country, ',') FROM everyday WHERE country IN ('DE', 'FR') GROUP BY product ORDER BY 1, 2
SELECT id, day, CASE extract(month FROM day) WHEN 12 THEN 'winter' WHEN 1 THEN 'winter' WHEN 2 THEN 'winter' WHEN 3 THEN 'spring' WHEN 4 THEN 'spring' WHEN 5 THEN 'spring' ELSE 'rest' END AS season FROM everyday ORDER BY id
SELECT extract(year FROM age(DATE '2013-08-01', day)) * 12 + extract(month FROM age(DATE '2013-08-01', day)) AS months, count(*) FROM everyday GROUP BY 1 ORDER BY 1
SELECT customer, product, price, price - avg(price) OVER (PARTITION BY product) AS above, round(price / nullif(max(price) OVER (PARTITION BY product), 0) * 100, 1) AS percent FROM everyday WHERE price IS NOT NULL ORDER BY customer, product, price
SELECT to_char(sum(price), 'FM999G999D00'), to_char(avg(price), '990D9'), to_char(count(*), '9999') FROM everyday
SELECT date_trunc('quarter', day)::date AS quarter, percentile_cont(0.5) WITHIN GROUP (ORDER BY qty) AS median, max(qty) - min(qty) AS spread FROM everyday GROUP BY 1 ORDER BY 1
SELECT count(*) AS n, sum(qty)::float / count(*) AS exact, sum(qty) % 7 FROM everyday
SELECT id FROM everyday WHERE NOT (country = 'DE' OR qty > 3) ORDER BY id
SELECT id FROM everyday WHERE country ⟦= ANY (ARRAY['DE', 'FR']) ¦ <> ALL (ARRAY['DE', 'FR']) ¦ LIKE ANY (ARRAY['D%', '%R']) ¦ NOT LIKE ALL (ARRAY['D%', '%R']) ¦ > ALL (ARRAY['DE', left(product, 2)]) ¦ = ANY (ARRAY[product])⟧ ORDER BY id
SELECT id FROM everyday WHERE ⟦(country, qty) = ('DE', 7) ¦ (country, qty) <> ('DE', 7) ¦ (day, id) > (DATE '2012-06-01', 20) ¦ (country, day, id) <= ('FR', DATE '2012-06-01', 20) ¦ (country, product) NOT IN (('DE', 'Desk'), ('US', 'Lamp')) ¦ (qty, price) IN ((6, 20), (1, NULL)) ¦ (id, qty, price) < (10, 3, 5) ¦ (country, id) IN (('DE', 1, 2)) ¦ (country, id) = ('DE', 1, 2)⟧ ORDER BY id
SELECT (SELECT count(*) FROM everyday WHERE qty > 4) AS many, (SELECT count(*) FROM everyday WHERE qty <= 4) AS few, EXISTS (SELECT 1 FROM everyday WHERE price > 1000) AS dear
SELECT t.id, t.total FROM (SELECT id, coalesce(qty, 0) * coalesce(price, 0) AS total FROM everyday) AS t WHERE t.total = (SELECT max(coalesce(qty, 0) * coalesce(price, 0)) FROM everyday)
SELECT lag(id) OVER (ORDER BY id) IS NULL AS first, lead(id) OVER (ORDER BY id) IS NULL AS last, id FROM everyday ORDER BY id
SELECT nth_value(product, 2) OVER (PARTITION BY country ORDER BY id), id FROM everyday ORDER BY id
-- differs: there are no arrays, and no tables of functions but numbers and moments
SELECT category, array_length(string_to_array(tags, ','), 1) FROM everyday
-- differs: there are no arrays, and no tables of functions but numbers and moments
SELECT id, unnest(string_to_array(tags, ',')) FROM everyday
-- differs: there are no arrays, and no tables of functions but numbers and moments
SELECT regexp_split_to_table(tags, ',') FROM everyday
-- differs: there are no arrays, and no tables of functions but numbers and moments
SELECT array_agg(id ORDER BY id) FROM everyday
-- differs: amounts of money are numerics
SELECT id, price::money FROM everyday
-- differs: a fraction is cut, and a sum of integers is no integer
SELECT price::int, sum(qty) / count(*) FROM everyday GROUP BY price ORDER BY price
-- differs: patterns give texts, and no arrays
SELECT regexp_match(code, '[0-9]+') FROM everyday
