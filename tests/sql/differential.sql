-- One query a line, run here and in SQLite over the same tables. Where the two spell the same thing
-- differently: ours ||| theirs. Without ORDER BY the rows are compared as a set.
SELECT "Origin State", COUNT(*) AS strikes, SUM("Cost Repair" + "Cost Other") AS cost, MAX("Speed IAS in knots") AS top_speed FROM birdstrikes WHERE "Speed IAS in knots" > 100 GROUP BY "Origin State" ORDER BY strikes DESC, "Origin State" LIMIT 10
SELECT COUNT(*) FROM birdstrikes
SELECT COUNT(*), COUNT("Speed IAS in knots"), COUNT("Origin State"), COUNT("Wildlife Size") FROM birdstrikes
SELECT COUNT(DISTINCT "Origin State"), COUNT(DISTINCT "Wildlife Species"), COUNT(DISTINCT "Speed IAS in knots") FROM birdstrikes
SELECT SUM("Cost Total $"), SUM("Cost Other"), SUM("Cost Repair") FROM birdstrikes
SELECT SUM(DISTINCT "Cost Total $") FROM birdstrikes
SELECT AVG("Speed IAS in knots"), MIN("Speed IAS in knots"), MAX("Speed IAS in knots") FROM birdstrikes
SELECT MIN("Wildlife Species"), MAX("Wildlife Species"), MIN("Origin State"), MAX("Airport Name") FROM birdstrikes
SELECT MIN("Flight Date"), MAX("Flight Date") FROM birdstrikes
SELECT "Wildlife Size", COUNT(*) FROM birdstrikes GROUP BY "Wildlife Size" ORDER BY "Wildlife Size" NULLS LAST
SELECT "Time of day", COUNT(*), SUM("Cost Total $") FROM birdstrikes GROUP BY "Time of day" ORDER BY 2 DESC
SELECT "Phase of flight" AS phase, "Wildlife Size" AS size, COUNT(*) AS n FROM birdstrikes GROUP BY "Phase of flight", "Wildlife Size" ORDER BY n DESC, phase, size
SELECT "Wildlife Species", COUNT(*) AS n FROM birdstrikes GROUP BY "Wildlife Species" HAVING COUNT(*) > 50 ORDER BY n DESC, "Wildlife Species"
SELECT "Wildlife Species", COUNT(*) AS n FROM birdstrikes WHERE "Wildlife Size" = 'Large' GROUP BY "Wildlife Species" HAVING SUM("Cost Total $") > 100000 ORDER BY n DESC, "Wildlife Species"
SELECT DISTINCT "Wildlife Size" FROM birdstrikes
SELECT DISTINCT "Phase of flight", "Time of day" FROM birdstrikes
SELECT DISTINCT "Origin State" FROM birdstrikes ORDER BY "Origin State" DESC NULLS LAST LIMIT 7 OFFSET 3
SELECT "Aircraft Make Model", "Speed IAS in knots" FROM birdstrikes WHERE "Speed IAS in knots" BETWEEN 250 AND 260 ORDER BY "Speed IAS in knots" DESC, "Aircraft Make Model"
SELECT COUNT(*) FROM birdstrikes WHERE "Speed IAS in knots" NOT BETWEEN 100 AND 200
SELECT COUNT(*) FROM birdstrikes WHERE "Speed IAS in knots" IS NULL
SELECT COUNT(*) FROM birdstrikes WHERE "Speed IAS in knots" IS NOT NULL AND "Wildlife Size" <> 'Small'
SELECT COUNT(*) FROM birdstrikes WHERE NOT ("Wildlife Size" = 'Small' OR "Time of day" = 'Night')
SELECT COUNT(*) FROM birdstrikes WHERE "Wildlife Size" = 'Large' AND "Time of day" = 'Night' OR "Cost Total $" > 10000
SELECT COUNT(*) FROM birdstrikes WHERE "Flight Date" >= '1995-01-01' AND "Flight Date" < '1996-01-01'
SELECT COUNT(*) FROM birdstrikes WHERE "Flight Date" BETWEEN DATE '1992-02-29' AND DATE '1993-03-01' ||| SELECT COUNT(*) FROM birdstrikes WHERE "Flight Date" BETWEEN '1992-02-29' AND '1993-03-01'
SELECT "Flight Date", COUNT(*) AS n FROM birdstrikes GROUP BY "Flight Date" ORDER BY n DESC, "Flight Date" LIMIT 20
SELECT "Origin State" || ', ' || "Wildlife Species" AS label, "Cost Total $" FROM birdstrikes WHERE "Origin State" IS NOT NULL AND "Wildlife Species" IS NOT NULL ORDER BY "Cost Total $" DESC, label LIMIT 25
SELECT "Cost Repair" - "Cost Other", "Cost Repair" * 2, -"Cost Other" FROM birdstrikes WHERE "Cost Total $" > 50000
SELECT "Cost Total $" / 7, "Speed IAS in knots" / 3 FROM birdstrikes WHERE "Cost Total $" > 0 AND "Speed IAS in knots" > 0
SELECT "Speed IAS in knots" * 1.852 FROM birdstrikes WHERE "Speed IAS in knots" > 300
SELECT "Airport Name" FROM birdstrikes WHERE "Airport Name" < 'BA' ORDER BY "Airport Name" LIMIT 30
SELECT "Airport Name" FROM birdstrikes WHERE "Airport Name" >= 'W' AND "Airport Name" <= 'WZ' ORDER BY 1 DESC
SELECT "Origin State", MIN("Flight Date"), MAX("Flight Date"), MIN("Aircraft Airline Operator") FROM birdstrikes GROUP BY "Origin State"
SELECT COUNT(*), SUM("Cost Total $"), MIN("Wildlife Size"), AVG("Speed IAS in knots") FROM birdstrikes WHERE "Cost Total $" < 0
SELECT "Time of day", "Origin State", "Cost Total $" FROM birdstrikes ORDER BY "Cost Total $" DESC, "Origin State", "Time of day" LIMIT 12 OFFSET 5
SELECT * FROM weather WHERE precipitation > 40 ORDER BY date
SELECT weather, COUNT(*), AVG(temp_max), MIN(temp_min), MAX(wind), SUM(precipitation) FROM weather GROUP BY weather ORDER BY weather
SELECT date, temp_max - temp_min AS spread FROM weather ORDER BY spread DESC, date LIMIT 10
SELECT weather, AVG(temp_max - temp_min) FROM weather WHERE wind > 2.5 AND precipitation = 0 GROUP BY weather ORDER BY weather
SELECT date, temp_max * 9 / 5 + 32 FROM weather WHERE date < '2012-02-01' ORDER BY date
SELECT COUNT(*) FROM weather WHERE temp_max > temp_min * 2 AND NOT weather = 'sun'
SELECT weather || '!' AS w, COUNT(*) - 1 FROM weather GROUP BY weather HAVING MAX(temp_max) > 30 OR MIN(temp_min) < -5 ORDER BY w
SELECT COUNT(DISTINCT weather), COUNT(DISTINCT temp_max), SUM(DISTINCT wind) FROM weather
SELECT wind, COUNT(*) AS n FROM weather GROUP BY wind ORDER BY n DESC, wind LIMIT 15
SELECT -temp_min, +wind FROM weather WHERE temp_min < -2
SELECT weather, weather = 'rain', temp_max >= 30 FROM weather WHERE temp_max BETWEEN 29.5 AND 30.5
SELECT precipitation, temp_max FROM weather WHERE precipitation BETWEEN 1 AND 2 AND temp_max BETWEEN 10 AND 12.5 ORDER BY precipitation, temp_max
SELECT COUNT(*) FROM birdstrikes WHERE "Wildlife Species" LIKE '%gull%'
SELECT "Wildlife Species", COUNT(*) FROM birdstrikes WHERE "Wildlife Species" LIKE 'A_er%k_strel' OR "Wildlife Species" LIKE '%owl' GROUP BY "Wildlife Species"
SELECT COUNT(*) FROM birdstrikes WHERE "Airport Name" NOT LIKE '%INTL%' AND "Airport Name" LIKE 'D%A%'
SELECT "Aircraft Make Model" FROM birdstrikes WHERE "Aircraft Make Model" LIKE '%-1!_%' ESCAPE '!' OR "Aircraft Make Model" LIKE 'B-7_7-2%' ORDER BY 1 LIMIT 20
SELECT "Origin State", COUNT(*) FROM birdstrikes WHERE "Origin State" IN ('Texas', 'Ohio', 'Iowa') GROUP BY "Origin State"
SELECT COUNT(*) FROM birdstrikes WHERE "Speed IAS in knots" IN (100, 140, 250, "Cost Repair")
SELECT COUNT(*) FROM birdstrikes WHERE "Speed IAS in knots" NOT IN (100, 140, 250)
SELECT CASE WHEN "Speed IAS in knots" > 200 THEN 'fast' WHEN "Speed IAS in knots" > 100 THEN 'medium' WHEN "Speed IAS in knots" IS NULL THEN 'unknown' ELSE 'slow' END AS speed, COUNT(*), SUM("Cost Repair") FROM birdstrikes GROUP BY speed
SELECT CASE "Wildlife Size" WHEN 'Small' THEN 1 WHEN 'Medium' THEN 2 WHEN 'Large' THEN 3 END AS size, COUNT(*) FROM birdstrikes GROUP BY size
SELECT COUNT(*), SUM(COALESCE("Speed IAS in knots", 0)), SUM(IFNULL("Speed IAS in knots", -1)), COUNT(NULLIF("Cost Repair", 0)) FROM birdstrikes
SELECT CAST("Speed IAS in knots" AS varchar) || ' kn' FROM birdstrikes WHERE "Speed IAS in knots" > 300
SELECT CAST(temp_max AS integer), CAST(temp_min AS integer) FROM weather WHERE date < '2012-03-01' ORDER BY date
SELECT date FROM weather WHERE CAST(date AS varchar) LIKE '2012-0_-01' ORDER BY 1
SELECT weather, SUM(CASE WHEN wind > 5 THEN 1 ELSE 0 END) FROM weather WHERE weather IN ('sun', 'rain', 'fog') GROUP BY weather
SELECT weather, STRING_AGG(wind, '; ') FROM weather WHERE date < '2012-02-01' GROUP BY weather ||| SELECT weather, group_concat(wind, '; ') FROM weather WHERE date < '2012-02-01' GROUP BY weather
-- Windows. A moving frame counts values and not rows: the same where no value is NULL. Tiles are
-- parted by values: the same as tiles of rows where values differ and tiles are equally large.
SELECT date, RANK() OVER (ORDER BY temp_max DESC), RANK() OVER (PARTITION BY weather ORDER BY wind, precipitation DESC) FROM weather ORDER BY date
SELECT "Flight Date", "Speed IAS in knots", RANK() OVER (ORDER BY "Speed IAS in knots" NULLS FIRST) AS a, RANK() OVER (PARTITION BY "Wildlife Size" ORDER BY "Speed IAS in knots" DESC NULLS LAST, "Flight Date" DESC) AS b FROM birdstrikes ORDER BY a, b, "Flight Date"
SELECT date, SUM(wind) OVER w, COUNT(*) OVER w, COUNT(wind) OVER w, MIN(temp_min) OVER w, MAX(temp_max) OVER w FROM weather WINDOW w AS (PARTITION BY weather ORDER BY date DESC ROWS UNBOUNDED PRECEDING) ORDER BY date
SELECT date, SUM(CAST(precipitation * 10 AS integer)) OVER (ORDER BY date ROWS 6 PRECEDING), AVG(temp_max) OVER (PARTITION BY weather ORDER BY date ROWS BETWEEN 29 PRECEDING AND CURRENT ROW) FROM weather ORDER BY date
SELECT "Flight Date", "Origin State", COUNT(*) OVER (PARTITION BY "Origin State", "Time of day"), SUM("Cost Repair") OVER (PARTITION BY "Origin State"), MAX("Speed IAS in knots") OVER (), MIN("Wildlife Species") OVER (PARTITION BY "Flight Date") FROM birdstrikes
SELECT weather, COUNT(*), RANK() OVER (ORDER BY COUNT(*) DESC) AS r, SUM(SUM(wind)) OVER (ORDER BY weather ROWS UNBOUNDED PRECEDING) FROM weather GROUP BY weather ORDER BY r
SELECT temp_min, NTILE(5) OVER (ORDER BY temp_min DESC) FROM weather GROUP BY temp_min ORDER BY temp_min
SELECT date, NTILE(4) OVER (ORDER BY temp_max) FROM weather ORDER BY date ||| WITH v AS (SELECT ROW_NUMBER() OVER (ORDER BY temp_max) - 1 AS i, temp_max AS x FROM weather) SELECT date, 1 + (SELECT COUNT(*) FROM v WHERE i IN (1461 / 4, 1461 * 2 / 4, 1461 * 3 / 4) AND x <= temp_max) FROM weather ORDER BY date
SELECT date, PERCENTILE(wind) OVER (PARTITION BY weather ORDER BY wind DESC) FROM weather ORDER BY date ||| SELECT date, PERCENT_RANK() OVER (PARTITION BY weather ORDER BY wind) FROM weather ORDER BY date
SELECT date, TOP_N(temp_max, 20) OVER (PARTITION BY weather) AS place FROM weather ORDER BY date ||| SELECT date, CASE WHEN r <= 20 THEN r END FROM (SELECT date, RANK() OVER (PARTITION BY weather ORDER BY temp_max DESC) AS r FROM weather) ORDER BY date
SELECT date, SUM(wind) OVER (ORDER BY temp_max DESC, date ROWS UNBOUNDED PRECEDING), MIN(temp_min) OVER (PARTITION BY weather ORDER BY date DESC ROWS UNBOUNDED PRECEDING), COUNT(*) OVER (PARTITION BY weather ORDER BY date DESC ROWS UNBOUNDED PRECEDING) FROM weather WHERE precipitation = 0 ORDER BY date
