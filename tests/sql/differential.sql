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
SELECT date, SUM(wind) OVER (ORDER BY temp_max DESC, date ROWS UNBOUNDED PRECEDING), MIN(temp_min) OVER (PARTITION BY weather ORDER BY date DESC ROWS UNBOUNDED PRECEDING), COUNT(*) OVER (PARTITION BY weather ORDER BY date DESC ROWS UNBOUNDED PRECEDING) FROM weather WHERE precipitation = 0 ORDER BY date
SELECT date, AVG(CAST(wind * 10 AS integer)) OVER (ORDER BY date ROWS 11 PRECEDING), SUM(CAST(wind * 10 AS integer)) OVER (PARTITION BY weather ORDER BY temp_min, date ROWS 2 PRECEDING) FROM weather ORDER BY date
SELECT date, RANK() OVER (PARTITION BY weather ORDER BY temp_max DESC, wind), RANK() OVER (ORDER BY temp_min), COUNT(*) OVER (), MAX(wind) OVER (PARTITION BY weather) FROM weather ORDER BY date
SELECT date, TOP_N(temp_max, 9) OVER (PARTITION BY weather), PERCENTILE(wind) OVER (ORDER BY wind) FROM weather ORDER BY date ||| SELECT date, CASE WHEN rank() OVER w <= 9 THEN rank() OVER w END, percent_rank() OVER (ORDER BY wind DESC) FROM weather WINDOW w AS (PARTITION BY weather ORDER BY temp_max DESC) ORDER BY date
SELECT "Origin State", MAX("Wildlife Species") OVER (PARTITION BY "Origin State"), SUM("Cost Total $") OVER (PARTITION BY "Wildlife Size"), COUNT("Speed IAS in knots") OVER () FROM birdstrikes
SELECT "Origin State" AS state, COUNT(*) AS n, RANK() OVER (ORDER BY COUNT(*) DESC), SUM(COUNT(*)) OVER (ORDER BY COUNT(*), "Origin State" NULLS LAST ROWS UNBOUNDED PRECEDING) FROM birdstrikes GROUP BY "Origin State" ORDER BY n, state NULLS LAST
