SELECT "Origin State", COUNT(*) AS strikes,
       SUM("Cost Repair" + "Cost Other") AS cost,
       MAX("Speed IAS in knots") AS top_speed
FROM birdstrikes
WHERE "Speed IAS in knots" > 100
GROUP BY "Origin State"
ORDER BY strikes DESC, "Origin State"
LIMIT 10
